// Open files, as bytes and as batches of records.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "python/src/session.h"

namespace fileref::python {

// The records of a file, in one of two ways: as bytes, where each has a line feed behind it (those
// of a stream have none, nor a last line without one), or in batches without. Keeps its session.
class Reader {
 public:
  using Open = std::function<Input(const std::vector<std::string>& options)>;
  // `open` runs without the GIL. With `as_stream` the options say RECFM=S and no NBYTE.
  Reader(std::shared_ptr<Session> session, bool as_stream, const Open& open);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // At least one byte, and not more than fit; 0 at the end. Throws Failure there if one of several
  // files could not be read.
  std::size_t read_into(const py::buffer& buffer);
  // At most `count` records; none at the end.
  py::list next_batch(std::size_t count);
  // Writes all that is left to a descriptor.
  void copy_to(int descriptor);
  std::vector<std::string> skipped();
  void close();

 private:
  bool next(std::string_view& record);
  void refill(std::size_t wanted);
  void collect_lines(std::size_t wanted);
  // Takes records until there are enough. What fails behind the first is kept for the next call.
  template <class Take>
  void collect(Take take);
  Input& input() { return input_ ? *input_ : throw UsageError("The file is closed."); }
  void check_skipped();

  std::shared_ptr<Session> session_;
  std::optional<Input> input_;
  double* wanted_ = nullptr;  // of a stream: how many bytes the next record may have
  std::size_t piece_;         // of a stream: grows while it is read
  std::string lines_;
  bool open_line_ = false;      // the last of them has no line feed yet
  std::string_view left_;       // of the bytes that were read
  std::exception_ptr failure_;  // behind what was read in front of it
};

// A file being written. Keeps its session.
class Writer {
 public:
  using Create = std::function<Output()>;
  Writer(std::shared_ptr<Session> session, const Create& create);
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Bytes as a stream takes them, else lines, the last of which may go on in the next call.
  std::size_t write(const py::buffer& buffer);
  // As Output::write_file does it.
  bool write_file(int descriptor);
  // Sends the file.
  void close();
  void abandon();

 private:
  void write_bytes(std::string_view bytes);
  void write_lines(std::string_view bytes);
  Output& output() { return output_ ? *output_ : throw UsageError("The file is closed."); }

  std::shared_ptr<Session> session_;
  std::optional<Output> output_;
  std::string line_;  // that is not complete yet
};

}  // namespace fileref::python
