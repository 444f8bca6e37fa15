#include "fileref/file.h"

#include <utility>

#include "runtime/library/host_impl.h"
#include "runtime/name_escape.h"
#include "runtime/temp/file_copy.h"

namespace fileref {
namespace {
constexpr std::size_t kEnoughToWrite = 128 * 1024;
}

OpenFile::OpenFile(Host::Impl& host, std::string fileref, ptr file, long record_length,
                   HOST_FILE* temporary, bool names, rctype (*close_entry)(ptr),
                   Host::Impl::OptionBlock options)
    : host_(host),
      fileref_(std::move(fileref)),
      file_(file),
      record_length_(record_length),
      temporary_(temporary),
      stream_(temporary != nullptr && runtime::TempMethod::is_stream(temporary)),
      names_(names),
      close_entry_(close_entry),
      options_(std::move(options)) {}

OpenFile::~OpenFile() {
  POOL& heap = host_.runtime().memory.heap();
  if (vector_ != nullptr) heap.free(&heap, vector_, 0, kRelease);
}

WX_AMVEC& OpenFile::vector() {
  if (file_ == nullptr) throw Failure(kNullPointer, "The file is not open.");
  if (vector_ == nullptr) {
    host_.enter(fileref_, [&] { return host_.table().amamvec.entryp(file_, &vector_); });
  }
  return *vector_;
}

bool OpenFile::read(std::string_view& record) {
  const WX_AMVEC& records = vector();
  ptr start = nullptr;
  long length = 0;
  tchar carriage_control = 0;
  const bool more = host_.enter_record(this, fileref_, [&] {
    return records.amfpread(records.amfcb, &start, &length, &carriage_control);
  });
  if (!more) return false;
  record = {static_cast<const char*>(start), static_cast<std::size_t>(length)};
  if (names_) record = name_ = runtime::unescape_name(record);
  return true;
}

void OpenFile::copy_to(int descriptor) {
  const runtime::Destination out{descriptor, host_.interrupted()};
  std::string text;
  const auto write_out = [&] {
    runtime::write_all(out, text);
    text.clear();
  };
  std::string_view record;
  try {
    while (read(record)) {
      text.append(record);
      if (!stream_) text += '\n';
      HOST_FILE* file = host_.runtime().temp.copyable_behind(record.data());
      if (file != nullptr || text.size() >= kEnoughToWrite) write_out();
      if (file != nullptr) runtime::TempMethod::copy_rest(file, out);
    }
  } catch (const Failure&) {
    write_out();
    throw;
  }
  write_out();
}

void OpenFile::write(std::string_view record) {
  const WX_AMVEC& records = vector();
  host_.enter_record(this, fileref_, [&] {
    return records.amfpwrite(records.amfcb, const_cast<char*>(record.data()),
                             static_cast<long>(record.size()), ' ');
  });
}

// What could not be sent is kept, whatever the reason was.
rctype OpenFile::send_and_close() {
  runtime::Runtime& runtime = host_.runtime();
  const std::string data = temporary_ == nullptr ? "" : runtime.temp.spare(temporary_);
  const rctype rc = close_entry_(file_);
  if (rc != kSuccess && runtime.temp.is_spared(data)) {
    const std::string place = runtime.toolkit.launch.keep_unsent(data);
    runtime.toolkit.explain(place.empty() ? "the data could not be kept"
                                          : "the data is kept in " + place);
  }
  if (rc == kSuccess) runtime.temp.remove_spared(data);
  return rc;
}

void OpenFile::close() {
  if (file_ == nullptr) return;
  const auto amclose = [this] { return send_and_close(); };
  try {
    host_.enter(fileref_, amclose);
  } catch (const Failure&) {
    // A temporary file that could not be written to its end is still open, and so is the file.
    if (temporary_ != nullptr && host_.runtime().temp.is_open(temporary_)) abandon();
    file_ = nullptr;
    throw;
  }
  file_ = nullptr;
}

void OpenFile::abandon() {
  if (file_ == nullptr) return;
  if (temporary_ != nullptr) host_.runtime().temp.abandon(temporary_);
  // With nothing to send the close fails, and releases everything.
  host_.runtime().begin_entry(fileref_);
  close_entry_(std::exchange(file_, nullptr));
}

std::vector<InfoLine> lines_of(const W_INFSTR* list) {
  std::vector<InfoLine> lines;
  for (long i = 0; i < list->pairnum; ++i) {
    const W_PAIRS& pair = list->wpairs[i];
    if (pair.nameptr == nullptr) continue;
    lines.push_back(
        {std::string(pair.nameptr, static_cast<std::size_t>(pair.namelen)),
         runtime::unescape_name({pair.valueptr, static_cast<std::size_t>(pair.valuelen)})});
  }
  return lines;
}

std::vector<InfoLine> OpenFile::info() {
  if (file_ == nullptr) throw Failure(kNullPointer, "The file is not open.");
  W_INFSTR* list = nullptr;
  host_.enter(fileref_, [&] { return host_.table().aminfsy.entryp(file_, &list); });
  std::vector<InfoLine> lines = lines_of(list);
  host_.enter(fileref_, [&] { return host_.table().aminfsr.entryp(file_, list); });
  return lines;
}

void OpenFile::log(std::string_view text) {
  host_.runtime().begin_entry(fileref_);
  host_.runtime().log.write("error", text);
}

Input::Input(std::unique_ptr<OpenFile> file) : file_(std::move(file)) {}
Input::Input(Input&&) noexcept = default;
Input& Input::operator=(Input&&) noexcept = default;

Input::~Input() {
  try {
    close();
  } catch (const Failure& failure) {
    file_->log(failure.message());
  }
}

bool Input::next(std::string_view& record) {
  return file_->read(record);
}
void Input::copy_to(int out) {
  file_->copy_to(out);
}
long Input::record_length() const {
  return file_->record_length();
}

std::vector<InfoLine> Input::info() {
  return file_->info();
}
bool Input::is_stream() const {
  return file_->is_stream();
}

void Input::close() {
  if (file_) file_->close();
}

Output::Output(std::unique_ptr<OpenFile> file) : file_(std::move(file)) {}
Output::Output(Output&&) noexcept = default;
Output& Output::operator=(Output&&) noexcept = default;

Output::~Output() {
  if (!file_ || !file_->is_open()) return;
  file_->log("The output was given up before it was closed; nothing was sent.");
  file_->abandon();
}

void Output::write(std::string_view record) {
  file_->write(record);
}
void Output::close() {
  file_->close();
}
void Output::abandon() {
  file_->abandon();
}
bool Output::is_stream() const {
  return file_->is_stream();
}
long Output::record_length() const {
  return file_->record_length();
}

}  // namespace fileref
