#include "fileref/file.h"

#include <algorithm>
#include <cstdint>
#include <system_error>
#include <utility>

#include "runtime/launch/line_buffer.h"
#include "runtime/library/host_impl.h"
#include "runtime/name_escape.h"
#include "runtime/temp/file_copy.h"

namespace fileref {
namespace {
constexpr std::size_t kEnoughToWrite = 128 * 1024;

// The open of a member does not tell it.
long settled_length(long told, const HOST_FILE* temporary) {
  return told > 0 || temporary == nullptr ? told : runtime::TempMethod::record_length(temporary);
}

}  // namespace

OpenFile::OpenFile(Host::Impl& host, std::string fileref, ptr file, int openmode,
                   long record_length, HOST_FILE* temporary, const Host::Impl::FileEntries& entries,
                   Host::Impl::OptionBlock options)
    : host_(host),
      fileref_(std::move(fileref)),
      file_(file),
      record_length_(settled_length(record_length, temporary)),
      temporary_(temporary),
      output_(openmode == kOpenOutput),
      stream_(temporary != nullptr && runtime::TempMethod::is_stream(temporary)),
      names_(!output_ && temporary == nullptr),
      client_(host.runtime().toolkit.client_of(fileref_)),
      close_entry_(entries.close),
      member_(entries.member),
      options_(std::move(options)) {}

OpenFile::~OpenFile() {
  host_.quietly([this] { drop(); });
  POOL& heap = host_.runtime().memory.heap();
  if (vector_ != nullptr) heap.free(&heap, vector_, 0, kRelease);
}

void OpenFile::drop() {
  if (file_ == nullptr || !output_) return close();
  host_.runtime().log.set_subject(fileref_);
  host_.runtime().log.write("error",
                            "The output was given up before it was closed; nothing was sent.");
  abandon();
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
    const rctype rc = records.amfpread(records.amfcb, &start, &length, &carriage_control);
    if (!stream_ || plain_code(rc) != kEndOfFile) return rc;
    // A stream ends with each file. The entry goes on to the next one, and `length` is still what
    // is wanted.
    return host_.table().amread.entryp(file_, &start, &length, &carriage_control);
  });
  if (!more) return false;
  record = {static_cast<const char*>(start), static_cast<std::size_t>(length)};
  line_ended_ = !host_.runtime().temp.take_open_line();
  if (names_) record = name_ = runtime::unescape_name(record);
  return true;
}

namespace {

// Runs `write`, which copies records to a descriptor.
template <class Write>
void written(runtime::CallbackGuard& callbacks, Write write) {
  try {
    write();
  } catch (const std::system_error& error) {
    callbacks.rethrow();
    throw SystemError(error.code(), error.what());
  }
}

}  // namespace

bool OpenFile::waits() const {
  const HOST_FILE* file = host_.runtime().temp.latest();
  return file != nullptr && runtime::TempMethod::waits(file);
}

void OpenFile::copy_to(int descriptor, bool* open_line) {
  const runtime::Destination out{descriptor, host_.interrupted()};
  std::string text;
  const auto write_out = [&] {
    written(host_.callbacks(), [&] { runtime::write_all(out, text); });
    text.clear();
  };
  std::string_view record;
  try {
    while (read(record)) {
      if (*open_line) text += '\n';
      *open_line = !stream_ && !line_ended_;  // which only the end of all can leave so
      text.append(record);
      if (!stream_ && line_ended_) text += '\n';
      HOST_FILE* file = host_.runtime().temp.copyable_behind(record.data());
      if (file != nullptr || text.size() >= kEnoughToWrite || waits()) write_out();
      if (file == nullptr) continue;
      written(host_.callbacks(), [&] { runtime::TempMethod::copy_rest(file, out); });
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

// What cannot be written together, a refused line above all, is left to the slots.
void OpenFile::write_lines(std::string_view lines) {
  if (vector().amfpwrite != nullptr && temporary_ != nullptr) {
    lines.remove_prefix(runtime::TempMethod::write_lines(temporary_, lines));
  }
  while (!lines.empty()) write(runtime::take_line(&lines));
}

void OpenFile::write_last(std::string_view record) {
  if (temporary_ != nullptr) runtime::TempMethod::leave_next_line_open(temporary_);
  write(record);
}

// A client's program reads local files itself, by their names.
bool OpenFile::write_file(int file) {
  const std::shared_ptr<runtime::Client> client = client_.lock();
  return vector().amfcb != nullptr && client && client->sends_lent_files() &&
         temporary_ != nullptr && host_.runtime().temp.lend(temporary_, file, host_.interrupted());
}

// What could not be sent is kept, whatever the reason was.
rctype OpenFile::send_and_close() {
  runtime::Runtime& runtime = host_.runtime();
  const std::string data = temporary_ == nullptr ? "" : runtime.temp.spare(temporary_);
  host_.sends(member_);
  const rctype rc = close_entry_(file_);
  const bool is_unsent = rc != kSuccess && runtime.temp.is_spared(data);
  const std::string place = is_unsent ? runtime.toolkit.launch.keep_unsent(data) : "";
  if (is_unsent) {
    runtime.toolkit.explain(place.empty() ? "the data could not be kept"
                                          : "the data is kept in " + place);
  }
  if (!is_unsent || !place.empty()) runtime.temp.remove_spared(data);
  return rc;
}

void OpenFile::close() {
  if (file_ == nullptr) return;
  try {
    host_.enter(fileref_, [this] { return send_and_close(); });
  } catch (...) {
    // A temporary file that could not be written to its end is still open, and so is the file.
    if (temporary_ != nullptr && host_.runtime().temp.is_open(temporary_)) abandon();
    if (host_.is_ours()) file_ = nullptr;
    throw;
  }
  file_ = nullptr;
}

void OpenFile::abandon() {
  if (file_ == nullptr) return;
  host_.enter(fileref_, [this] {
    if (temporary_ != nullptr) host_.runtime().temp.abandon(temporary_);
    // With nothing to send the close fails, and releases everything.
    close_entry_(std::exchange(file_, nullptr));
    return kSuccess;
  });
}

namespace {

// What stands in the root directory has a dot in its physical name, which no user wrote.
std::string path_of(const W_PAIRS& pair) {
  std::string path =
      runtime::unescape_name({pair.valueptr, static_cast<std::size_t>(pair.valuelen)});
  return path.starts_with("/./") ? path.erase(0, 2) : path;
}

}  // namespace

std::vector<InfoLine> lines_of(const W_INFSTR* list) {
  std::vector<InfoLine> lines;
  for (long i = 0; i < list->pairnum; ++i) {
    const W_PAIRS& pair = list->wpairs[i];
    if (pair.nameptr == nullptr) continue;
    lines.push_back(
        {std::string(pair.nameptr, static_cast<std::size_t>(pair.namelen)), path_of(pair)});
  }
  return lines;
}

FileStatus OpenFile::status() {
  if (!names_ || name_.empty()) throw UsageError("No name of a listing was read.");
  const std::optional<FileStatus> found = host_.ask_about(fileref_, client_, "lstat", name_);
  return found.value_or(FileStatus{});
}

std::vector<InfoLine> OpenFile::info() {
  if (file_ == nullptr) throw Failure(kNullPointer, "The file is not open.");
  W_INFSTR* list = nullptr;
  host_.enter(fileref_, [&] { return host_.table().aminfsy.entryp(file_, &list); });
  std::vector<InfoLine> lines = lines_of(list);
  host_.enter(fileref_, [&] { return host_.table().aminfsr.entryp(file_, list); });
  return lines;
}

void OpenFile::add_skipped(const std::vector<std::string>& sentences) {
  skipped_.insert(skipped_.end(), sentences.begin(), sentences.end());
}

Input::Input(std::unique_ptr<OpenFile> file) : file_(std::move(file)) {}
Input::Input(Input&&) noexcept = default;
Input& Input::operator=(Input&&) noexcept = default;
Input::~Input() = default;

OpenFile& Input::file() const {
  if (!file_) throw UsageError("This input was moved from: it stands for no file.");
  return *file_;
}

bool Input::next(std::string_view& record) {
  return file().read(record);
}
void Input::copy_to(int out, bool* open_line) {
  bool not_open = false;
  file().copy_to(out, open_line == nullptr ? &not_open : open_line);
}
const std::vector<std::string>& Input::skipped() const {
  return file().skipped();
}
bool Input::line_ended() const {
  return file().line_ended();
}
long Input::record_length() const {
  return file().record_length();
}
bool Input::is_stream() const {
  return file().is_stream();
}
FileStatus Input::status() {
  return file().status();
}
std::vector<InfoLine> Input::info() {
  return file().info();
}
void Input::close() {
  file().close();
}

Output::Output(std::unique_ptr<OpenFile> file) : file_(std::move(file)) {}
Output::Output(Output&&) noexcept = default;
Output& Output::operator=(Output&&) noexcept = default;
Output::~Output() = default;

OpenFile& Output::file() const {
  if (!file_) throw UsageError("This output was moved from: it stands for no file.");
  return *file_;
}

void Output::write(std::string_view record) {
  file().write(record);
}
void Output::write_lines(std::string_view lines) {
  file().write_lines(lines);
}
void Output::write_last(std::string_view record) {
  file().write_last(record);
}
bool Output::write_file(int file) {
  return this->file().write_file(file);
}
void Output::close() {
  file().close();
}
void Output::abandon() {
  file().abandon();
}
bool Output::is_converted() const {
  return file().is_converted();
}
// There is no encoding in which more than sixteen bytes of UTF-8 are one.
std::size_t Output::too_many_for_a_line() const {
  const auto length = static_cast<std::size_t>(record_length());
  return std::min(length, SIZE_MAX / 16 - 1) * (is_converted() ? 16 : 1) + 1;
}
bool Output::is_stream() const {
  return file().is_stream();
}
long Output::record_length() const {
  return file().record_length();
}

}  // namespace fileref
