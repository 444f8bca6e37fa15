// Open files: a range of records for input, a taker of records for output.
#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fileref/failure.h"
#include "fileref/file_status.h"

namespace fileref {

class OpenFile;

/// One line of a description: a label and its value.
struct InfoLine {
  std::string label;
  std::string value;
};

/// The records of a fetched file, each valid until the next one is read. Its host must outlive it.
/// One that was moved from can only be destroyed or assigned to; any other call throws UsageError.
class Input {
 public:
  class iterator {
   public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = std::string_view;
    using difference_type = std::ptrdiff_t;

    explicit iterator(Input* input) : input_(input) { ++*this; }
    std::string_view operator*() const { return record_; }
    iterator& operator++() {
      if (!input_->next(record_)) input_ = nullptr;
      return *this;
    }
    void operator++(int) { ++*this; }
    friend bool operator==(const iterator& it, std::default_sentinel_t /*end*/) {
      return it.input_ == nullptr;
    }

   private:
    Input* input_;
    std::string_view record_;
  };

  explicit Input(std::unique_ptr<OpenFile> file);
  Input(Input&&) noexcept;
  Input& operator=(Input&&) noexcept;
  /// Closes; what fails then goes to the log only.
  ~Input();

  /// Reads the next record; false at the end. Throws Failure.
  bool next(std::string_view& record);
  iterator begin() { return iterator(this); }
  std::default_sentinel_t end() const { return {}; }

  /// Whether the record that was read last ended with a line feed: false for the last line of a
  /// file that has none there, true for records that are no lines.
  bool line_ended() const;

  /// Writes the records that are left to a descriptor, each with a line feed behind it (those of a
  /// stream without, and the very last line if it has none), faster than reading them one by one.
  /// Waits where the descriptor does not. Throws Failure as `next` would, when the records before
  /// it are written; SystemError when `out` cannot be written, with EINTR when
  /// HostOptions::interrupted says so behind a signal, and then the input can only be closed.
  /// `open_line` goes on from one input to the next: whether what was written so far ends in a line
  /// without a line feed, which is then put in front of a further record.
  void copy_to(int out, bool* open_line = nullptr);

  /// Of a listing: what it says of the name that was read last, and not what is behind links.
  /// Throws UsageError where the records are no names, and Failure.
  FileStatus status();

  /// Of several files those that could not be fetched so far, and whose records are therefore
  /// missing: a sentence for each, with its name and the reason. HostOptions::warn is told the
  /// same.
  const std::vector<std::string>& skipped() const;

  /// In bytes of the remote file, as the open settled it. A record that was converted (ENCODING)
  /// may be longer.
  long record_length() const;
  /// Whether records are pieces of a stream of bytes (RECFM=S).
  bool is_stream() const;
  /// A short description of the open file.
  std::vector<InfoLine> info();
  void close();

 private:
  OpenFile& file() const;

  std::unique_ptr<OpenFile> file_;
};

/// A remote file being written. Nothing is sent before `close`; an output that is destroyed, or
/// assigned to, without it sends nothing, which the log then says. Its host must outlive it. One
/// that was moved from can only be destroyed or assigned to; any other call throws UsageError.
class Output {
 public:
  explicit Output(std::unique_ptr<OpenFile> file);
  Output(Output&&) noexcept;
  Output& operator=(Output&&) noexcept;
  ~Output();

  /// Throws Failure; a record that was refused (too long, say) is not written, and the file can be
  /// written on.
  void write(std::string_view record);
  /// Writes as many records as `lines` has, each without the line feed that ends it there: the same
  /// as to `write` one behind the other, and faster.
  void write_lines(std::string_view lines);
  /// Writes a last line without a line feed behind it, and nothing after it. The same as `write`
  /// where records are no lines.
  void write_last(std::string_view record);
  /// Writes what stands behind the position of `file`, a descriptor, to its end and moves that
  /// position there: the same as record by record, but the bytes are not copied, and `close` sends
  /// what they are then. The last that is written. False, with nothing done, where it has to go
  /// record by record: `file` is no regular file, something was written before, a line is longer
  /// than the record length, records are fixed or converted, or the client is not "direct".
  bool write_file(int file);
  /// Sends the file. When that fails, the failure says where the data is kept.
  void close();
  /// Drops what was written.
  void abandon();

  /// In bytes of the remote file.
  long record_length() const;
  bool is_stream() const;
  /// Whether records are converted (ENCODING), and are measured by what becomes of them.
  bool is_converted() const;
  /// So many bytes without a line feed are too long a record, whatever follows.
  std::size_t too_many_for_a_line() const;

 private:
  OpenFile& file() const;

  std::unique_ptr<OpenFile> file_;
};

}  // namespace fileref
