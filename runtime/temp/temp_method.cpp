#include "runtime/temp/temp_method.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "host/codes.h"
#include "runtime/temp/record_reader.h"
#include "runtime/temp/record_writer.h"

namespace fileref::runtime {
namespace {

std::string temporary_parent(const std::string& asked) {
  if (!asked.empty()) return asked;
  const char* variable = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe)
  return variable != nullptr && *variable != '\0' ? variable : "/tmp";
}

}  // namespace

// One open temporary file. The record routines go through `filter` when text is converted, and
// through `routines` otherwise; both end here.
class TempFile : public HOST_FILE {
 public:
  TempFile(Name8 logical, std::string path, int recfm, Messages& messages)
      : HOST_FILE{this, &routines_, nullptr},
        logical_(logical),
        path_(std::move(path)),
        recfm_(recfm),
        messages_(messages) {}

  const Name8& logical() const { return logical_; }
  const std::string& path() const { return path_; }
  bool is_output() const { return writer_ != nullptr; }
  bool is_stream() const { return (recfm_ & kRecfmStream) != 0; }
  bool is_fixed() const { return (recfm_ & kRecfmFixed) != 0; }
  void abandon() { abandoned_ = true; }
  bool can_copy_behind(const char* record) const {
    return reader_ && !is_fixed() && reader_->can_copy_behind(record);
  }
  void copy_rest(const Destination& out) {
    is_stream() ? reader_->copy_stream(out) : reader_->copy_lines(out);
  }

  // With `converted` the records come through the filter vector, else through the routines.
  void start_reading(std::unique_ptr<ByteSource> source, long record_length, bool converted) {
    reader_ = std::make_unique<RecordReader>(std::move(source), record_length);
    if (is_stream()) {
      read_by<&RecordReader::read_stream>(converted);
    } else if (is_fixed()) {
      read_by<&RecordReader::read_fixed>(converted);
    } else {
      read_by<&RecordReader::read_variable>(converted);
    }
  }

  void start_writing(std::unique_ptr<ByteSink> sink, long record_length, bool converted) {
    writer_ = std::make_unique<RecordWriter>(std::move(sink), record_length);
    if (is_stream()) {
      write_by<&RecordWriter::write_stream>(converted);
    } else if (is_fixed()) {
      write_by<&RecordWriter::write_fixed>(converted);
    } else {
      write_by<&RecordWriter::write_variable>(converted);
    }
  }

  wrcode close() {
    if (writer_ && !abandoned_) {
      const wrcode rc = writer_->finish();
      if (rc != kSuccess) return report(rc, writer_->why());
    }
    if (!writer_ || abandoned_) unlink(path_.c_str());
    return kSuccess;
  }

 private:
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
    const wrcode rc = (reader_.get()->*Read)(start, *length);
    *record = start;
    return rc == kSuccess || rc == kEndOfFile ? rc : report(rc, reader_->why());
  }

  template <WriteFn Write>
  wrcode write(ptr record, long length) {
    const wrcode rc = (writer_.get()->*Write)(static_cast<const char*>(record), length);
    return rc == kSuccess ? rc : report(rc, writer_->why());
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
    messages_.attach_text(why);
    return rc;
  }

  Name8 logical_;
  std::string path_;
  int recfm_;
  Messages& messages_;
  WX_AMVEC routines_{this, &refuse_read, &refuse_write, nullptr, nullptr, nullptr, nullptr, {}};
  HOST_FILTER filter_{&refuse_filtered_read, &refuse_filtered_write};
  std::unique_ptr<RecordReader> reader_;
  std::unique_ptr<RecordWriter> writer_;
  bool abandoned_ = false;
};

TempMethod::TempMethod(const std::string& parent, Messages& messages, Text& text)
    : directory_(temporary_parent(parent)), messages_(messages), text_(text) {}

TempMethod::~TempMethod() = default;

wrcode TempMethod::assign(const Name8& logical) {
  return assigned_.emplace(logical, directory_.fresh_path()).second ? kSuccess : kStillOpen;
}

wrcode TempMethod::deassign(const Name8& logical) {
  const auto found = assigned_.find(logical);
  if (found == assigned_.end()) return kNotAssigned;
  files_.remove_if([&](const auto& file) { return file->logical() == logical; });
  if (found->second != spared_) unlink(found->second.c_str());
  assigned_.erase(found);
  return kSuccess;
}

std::string* TempMethod::path_of(const Name8& logical) {
  const auto found = assigned_.find(logical);
  return found == assigned_.end() ? nullptr : &found->second;
}

wrcode TempMethod::open(HOST_FILE** file, const Name8& logical, const WX_OPENPARM& parms) {
  *file = nullptr;
  const std::string* path = path_of(logical);
  if (path == nullptr) return kNotAssigned;
  if (parms.datalen < 1) {
    messages_.attach_text(
        fmt::format("A record length of {} bytes is not possible. Give LRECL= a positive number.",
                    parms.datalen));
    return kTempFailure;
  }
  std::string encoding;
  if ((parms.openmode & kOpenEncoded) != 0) encoding = text_.encoding_name(parms.encoding_override);
  const std::string session = text_.session_encoding();
  const bool converted = !encoding.empty();
  auto opened = std::make_unique<TempFile>(logical, *path, parms.recfm, messages_);
  std::string why;
  if ((parms.openmode & kOpenInput) != 0) {
    auto source = open_file_source(*path, why);
    if (source && converted) {
      source = converting_source(std::move(source), *Converter::open(encoding, session), encoding);
    }
    if (source) opened->start_reading(std::move(source), parms.datalen, converted);
  } else {
    auto sink = create_file_sink(*path, why);
    if (sink && converted) {
      sink = converting_sink(std::move(sink), *Converter::open(session, encoding), encoding);
    }
    if (sink) opened->start_writing(std::move(sink), parms.datalen, converted);
  }
  if (!why.empty()) {
    messages_.attach_text(why);
    return kTempFailure;
  }
  *file = opened.get();
  files_.push_back(std::move(opened));
  return kSuccess;
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

std::string TempMethod::spare(const HOST_FILE* file) {
  const auto* written = static_cast<const TempFile*>(file);
  spared_ = is_open(file) && written->is_output() ? written->path() : "";
  return spared_;
}

bool TempMethod::is_spared(const std::string& path) const {
  const bool named = std::any_of(assigned_.begin(), assigned_.end(),
                                 [&](const auto& entry) { return entry.second == path; });
  return !path.empty() && !named && access(path.c_str(), F_OK) == 0;
}

void TempMethod::remove_spared(const std::string& path) {
  if (is_spared(path)) unlink(path.c_str());
  spared_.clear();
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
