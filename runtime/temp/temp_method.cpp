#include "runtime/temp/temp_method.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <system_error>
#include <utility>

#include "host/codes.h"
#include "runtime/temp/file_copy.h"
#include "runtime/temp/record_reader.h"
#include "runtime/temp/record_writer.h"
#include "runtime/temp/remote_text.h"
#include "runtime/unsent.h"

namespace fileref::runtime {
namespace {

std::string temporary_parent(const std::string& asked) {
  if (!asked.empty()) return asked;
  const char* variable = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe)
  return variable != nullptr && *variable != '\0' ? variable : "/tmp";
}

void remove_temporary(const std::string& path) {
  unlink(path.c_str());
  unmark_unsent(path);
}

// What is wrong with a record length, or with a fixed one in an encoding; empty when nothing is.
std::string unusable_length(long length) {
  if (length >= 1) return {};
  return fmt::format("A record length of {} bytes is not possible. Give LRECL= a positive number.",
                     length);
}

std::string unusable_length(const WX_OPENPARM& parms, const RemoteText& text) {
  const auto unit = static_cast<long>(text.blank().size());
  if ((parms.recfm & kRecfmFixed) == 0 || parms.datalen % unit == 0) return {};
  return fmt::format(
      "Fixed records of {} bytes are not possible in the encoding {}, whose characters have {} "
      "bytes at least. Give LRECL= a multiple of {}.",
      parms.datalen, text.encoding(), unit, unit);
}

}  // namespace

// One open temporary file. The record routines go through `filter` when text is converted, and
// through `routines` otherwise; both end here.
class TempFile : public HOST_FILE {
 public:
  TempFile(Name8 logical, std::string path, int recfm, TempMethod& method)
      : HOST_FILE{this, &routines_, nullptr},
        logical_(logical),
        path_(std::move(path)),
        recfm_(recfm),
        method_(method) {}

  const Name8& logical() const { return logical_; }
  const std::string& path() const { return path_; }
  bool is_output() const { return writer_ != nullptr; }
  bool is_stream() const { return (recfm_ & kRecfmStream) != 0; }
  bool is_fixed() const { return (recfm_ & kRecfmFixed) != 0; }
  long record_length() const { return record_length_; }
  void abandon() { abandoned_ = true; }
  bool can_copy_behind(const char* record) const {
    return reader_ && !is_fixed() && reader_->can_copy_behind(record);
  }
  bool waits() const { return reader_ && reader_->waits(); }
  void copy_rest(const Destination& out) {
    is_stream() ? reader_->copy_stream(out) : reader_->copy_lines(out);
  }

  // Opens the file to read or write records of it. Empty, or why that cannot be.
  std::string start(const WX_OPENPARM& parms, std::optional<RemoteText> text) {
    std::string why;
    record_length_ = parms.datalen;
    if ((parms.openmode & kOpenInput) != 0) {
      auto source = method_.source_of(path_, why);
      if (source) start_reading(std::move(source), parms.datalen, std::move(text));
    } else {
      auto sink = create_marked_sink(why);
      if (sink) start_writing(std::move(sink), parms.datalen, std::move(text));
    }
    return why;
  }
  void leave_next_line_open() { writer_->leave_next_line_open(); }
  std::size_t write_lines(std::string_view lines) {
    return writer_ && !is_lent_ && !is_stream() && !is_fixed() ? writer_->write_lines(lines) : 0;
  }
  bool can_stand_for(const FileRange& bytes, const std::function<bool()>& interrupted) const {
    if (!writer_ || is_lent_ || is_fixed() || !writer_->is_plain_and_new()) return false;
    return is_stream() ||
           are_lines_within(bytes, static_cast<std::size_t>(record_length_), interrupted);
  }
  // Somebody else's file stands for this one.
  void be_lent() {
    is_lent_ = true;
    remove_temporary(path_);
  }

  wrcode close() {
    if (!writer_ || abandoned_) {
      method_.remove(path_);
      return kSuccess;
    }
    if (is_lent_) return kSuccess;
    const wrcode rc = writer_->finish();
    if (rc != kSuccess) return report(rc, writer_->why());
    mark_unsent(path_, method_.name_of_output ? method_.name_of_output() : "");
    return kSuccess;
  }

 private:
  // Nothing is taken that could not be marked once it is whole.
  std::unique_ptr<ByteSink> create_marked_sink(std::string& why) const {
    auto sink = create_file_sink(path_, why);
    if (!sink || reserve_mark(path_)) return sink;
    why = fmt::format("The temporary file cannot be made: {}.",
                      std::generic_category().message(errno));
    remove_temporary(path_);
    return nullptr;
  }

  // With a `text` the records come through the filter vector, else through the routines.
  void start_reading(std::unique_ptr<ByteSource> source, long record_length,
                     std::optional<RemoteText> text) {
    const bool converted = text.has_value();
    reader_ = std::make_unique<RecordReader>(std::move(source), record_length, std::move(text));
    if (is_stream()) {
      read_by<&RecordReader::read_stream>(converted);
    } else if (is_fixed()) {
      read_by<&RecordReader::read_fixed>(converted);
    } else {
      read_by<&RecordReader::read_variable>(converted);
    }
  }

  void start_writing(std::unique_ptr<ByteSink> sink, long record_length,
                     std::optional<RemoteText> text) {
    const bool converted = text.has_value();
    writer_ = std::make_unique<RecordWriter>(std::move(sink), record_length, std::move(text));
    if (is_stream()) {
      write_by<&RecordWriter::write_stream>(converted);
    } else if (is_fixed()) {
      write_by<&RecordWriter::write_fixed>(converted);
    } else {
      write_by<&RecordWriter::write_variable>(converted);
    }
  }

  using ReadFn = wrcode (RecordReader::*)(char*&, long&);
  using WriteFn = wrcode (RecordWriter::*)(const char*, long);

  template <ReadFn Read>
  void read_by(bool converted) {
    if (converted) {
      filter_.read = [](HOST_FILE* file, ptr* record, long* length, tchar*) {
        return static_cast<TempFile*>(file)->read<Read>(record, length);
      };
      filter = &filter_;
    } else {
      routines_.amfpread = [](ptr file, ptr* record, long* length, tchar*) {
        return static_cast<TempFile*>(file)->read<Read>(record, length);
      };
    }
  }

  template <WriteFn Write>
  void write_by(bool converted) {
    if (converted) {
      filter_.write = [](HOST_FILE* file, ptr record, long length, tchar) {
        return static_cast<TempFile*>(file)->write<Write>(record, length);
      };
      filter = &filter_;
    } else {
      routines_.amfpwrite = [](ptr file, ptr record, long length, tchar) {
        return static_cast<TempFile*>(file)->write<Write>(record, length);
      };
    }
  }

  template <ReadFn Read>
  wrcode read(ptr* record, long* length) {
    char* start = nullptr;
    const wrcode rc = guarded([&] { return (reader_.get()->*Read)(start, *length); });
    *record = start;
    if (rc == kSuccess && reader_->line_is_open()) method_.line_is_open_ = true;
    return rc == kSuccess || rc == kEndOfFile ? rc : report(rc, reader_->why());
  }

  template <WriteFn Write>
  wrcode write(ptr record, long length) {
    if (is_lent_) return report(kBadRecord, "Nothing can follow a file that was written whole.");
    const auto* bytes = static_cast<const char*>(record);
    const wrcode rc = guarded([&] { return (writer_.get()->*Write)(bytes, length); });
    return rc == kSuccess ? rc : report(rc, writer_->why());
  }

  // No exception may pass through the module, which is between us and the caller.
  template <class Call>
  static wrcode guarded(Call call) {
    try {
      return call();
    } catch (const std::bad_alloc&) {
      return kNoMemory;
    }
  }

  wrcode wrong_direction() {
    return report(kTempFailure, "The file is not open in this direction.");
  }
  static wrcode refuse_read(ptr file, ptr* /*record*/, long* /*length*/, tchar* /*cc*/) {
    return static_cast<TempFile*>(file)->wrong_direction();
  }
  static wrcode refuse_write(ptr file, ptr /*record*/, long /*length*/, tchar /*cc*/) {
    return static_cast<TempFile*>(file)->wrong_direction();
  }
  static wrcode refuse_filtered_read(HOST_FILE* file, ptr* record, long* length, tchar* cc) {
    return refuse_read(file->filepointer, record, length, cc);
  }
  static wrcode refuse_filtered_write(HOST_FILE* file, ptr record, long length, tchar cc) {
    return refuse_write(file->filepointer, record, length, cc);
  }

  wrcode report(wrcode rc, const std::string& why) {
    constexpr const char* kShort = "There is not enough memory for a record. Lower LRECL=.";
    method_.messages_.attach_text(rc == kNoMemory ? kShort : why);
    return rc;
  }

  Name8 logical_;
  std::string path_;
  int recfm_;
  long record_length_ = 0;
  TempMethod& method_;
  WX_AMVEC routines_{this, &refuse_read, &refuse_write, nullptr, nullptr, nullptr, nullptr, {}};
  HOST_FILTER filter_{&refuse_filtered_read, &refuse_filtered_write};
  std::unique_ptr<RecordReader> reader_;
  std::unique_ptr<RecordWriter> writer_;
  bool abandoned_ = false;
  bool is_lent_ = false;
};

TempMethod::TempMethod(const std::string& parent, const std::string& unsent_directory,
                       Messages& messages, Text& text)
    : directory_(temporary_parent(parent), unsent_directory), messages_(messages), text_(text) {}

TempMethod::~TempMethod() = default;

wrcode TempMethod::assign(const Name8& logical) {
  return assigned_.emplace(logical, directory_.fresh_path()).second ? kSuccess : kStillOpen;
}

wrcode TempMethod::deassign(const Name8& logical) {
  const auto found = assigned_.find(logical);
  if (found == assigned_.end()) return kNotAssigned;
  files_.remove_if([&](const auto& file) { return file->logical() == logical; });
  feeds_.erase(found->second);
  if (found->second != spared_) remove(found->second);
  assigned_.erase(found);
  return kSuccess;
}

std::string* TempMethod::path_of(const Name8& logical) {
  const auto found = assigned_.find(logical);
  return found == assigned_.end() ? nullptr : &found->second;
}

void TempMethod::feed(const std::string& path, std::unique_ptr<ByteSource> source) {
  feeds_.insert_or_assign(path, std::move(source));
}

std::unique_ptr<ByteSource> TempMethod::source_of(const std::string& path, std::string& why) {
  const auto fed = feeds_.extract(path);
  return fed ? std::move(fed.mapped()) : open_file_source(path, why);
}

wrcode TempMethod::open(HOST_FILE** file, const Name8& logical, const WX_OPENPARM& parms) {
  *file = nullptr;
  const std::string* path = path_of(logical);
  if (path == nullptr) return kNotAssigned;
  auto opened = std::make_unique<TempFile>(logical, *path, parms.recfm, *this);
  std::string why = unusable_length(parms.datalen);
  std::optional<RemoteText> text;
  if (why.empty()) text = remote_text(parms, why);
  if (why.empty()) why = opened->start(parms, std::move(text));
  if (!why.empty()) {
    messages_.attach_text(why);
    return kTempFailure;
  }
  *file = opened.get();
  files_.push_back(std::move(opened));
  return kSuccess;
}

std::optional<RemoteText> TempMethod::remote_text(const WX_OPENPARM& parms,
                                                  std::string& why) const {
  std::string encoding;
  if ((parms.openmode & kOpenEncoded) != 0) encoding = text_.encoding_name(parms.encoding_override);
  if (encoding.empty()) return std::nullopt;
  auto text = RemoteText::open(encoding, text_.session_encoding());
  if (text) {
    why = unusable_length(parms, *text);
  } else {
    why = fmt::format("The encoding {} has no lines and blanks that records could be made of.",
                      encoding);
  }
  return text;
}

wrcode TempMethod::close(HOST_FILE* file) {
  const auto found = std::find_if(files_.begin(), files_.end(),
                                  [file](const auto& open) { return open.get() == file; });
  if (found == files_.end()) return kNullPointer;
  const wrcode rc = (*found)->close();
  if (rc == kSuccess) files_.erase(found);
  return rc;
}

void TempMethod::abandon(HOST_FILE* file) {
  static_cast<TempFile*>(file)->abandon();
}

bool TempMethod::is_open(const HOST_FILE* file) const {
  return std::any_of(files_.begin(), files_.end(),
                     [file](const auto& open) { return open.get() == file; });
}

void TempMethod::leave_next_line_open(HOST_FILE* file) {
  static_cast<TempFile*>(file)->leave_next_line_open();
}

std::size_t TempMethod::write_lines(HOST_FILE* file, std::string_view lines) {
  return static_cast<TempFile*>(file)->write_lines(lines);
}

bool TempMethod::lend(HOST_FILE* file, int descriptor, const std::function<bool()>& interrupted) {
  auto* written = static_cast<TempFile*>(file);
  const std::optional<FileRange> bytes = rest_of_file(descriptor);
  if (!bytes || !written->can_stand_for(*bytes, interrupted)) return false;
  written->be_lent();
  lent_.add(written->path(), *bytes);
  lseek(descriptor, bytes->end(), SEEK_SET);
  return true;
}

void TempMethod::remove(const std::string& path) {
  lent_.forget(path);
  remove_temporary(path);
}

bool TempMethod::take_open_line() {
  return std::exchange(line_is_open_, false);
}

std::string TempMethod::spare(const HOST_FILE* file) {
  const auto* written = static_cast<const TempFile*>(file);
  spared_ = is_open(file) && written->is_output() ? written->path() : "";
  return spared_;
}

bool TempMethod::is_spared(const std::string& path) const {
  const bool named = std::any_of(assigned_.begin(), assigned_.end(),
                                 [&](const auto& entry) { return entry.second == path; });
  return !path.empty() && !named && (lent_.contains(path) || access(path.c_str(), F_OK) == 0);
}

void TempMethod::remove_spared(const std::string& path) {
  if (is_spared(path)) remove(path);
  if (!path.empty()) unmark_unsent(path);
  spared_.clear();
}

long TempMethod::record_length(const HOST_FILE* file) {
  return static_cast<const TempFile*>(file)->record_length();
}

bool TempMethod::is_stream(const HOST_FILE* file) {
  return static_cast<const TempFile*>(file)->is_stream();
}

HOST_FILE* TempMethod::copyable_behind(const char* record) const {
  for (const auto& file : files_) {
    if (file->can_copy_behind(record)) return file.get();
  }
  return nullptr;
}

bool TempMethod::waits(const HOST_FILE* file) {
  return static_cast<const TempFile*>(file)->waits();
}

void TempMethod::copy_rest(HOST_FILE* file, const Destination& out) {
  static_cast<TempFile*>(file)->copy_rest(out);
}

HOST_FILE* TempMethod::latest() const {
  return files_.empty() ? nullptr : files_.back().get();
}

std::size_t TempMethod::outstanding() const {
  return assigned_.size() + files_.size();
}

}  // namespace fileref::runtime
