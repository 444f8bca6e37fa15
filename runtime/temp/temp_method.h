// The "TEMP    " access method: filerefs that stand for files in the private directory.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/records.h"
#include "runtime/byte_source.h"
#include "runtime/lent_files.h"
#include "runtime/messages.h"
#include "runtime/names.h"
#include "runtime/temp/directory.h"
#include "runtime/temp/file_copy.h"
#include "runtime/temp/remote_text.h"
#include "runtime/text.h"

namespace fileref::runtime {

class TempFile;

// Assigning chooses a path but makes no file. Closing a file that was open for input removes it, so
// that what is fetched next is a fresh file. Deassigning closes and removes. Failures attach their
// sentence to `messages`.
class TempMethod {
 public:
  // Below `parent`, or $TMPDIR, or /tmp. Unsent data of ended processes that is found there is kept
  // in `unsent_directory`, as `keep_unsent` does.
  TempMethod(const std::string& parent, const std::string& unsent_directory, Messages& messages,
             Text& text);
  ~TempMethod();

  wrcode assign(const Name8& logical);
  wrcode deassign(const Name8& logical);
  bool is_assigned(const Name8& logical) const { return assigned_.contains(logical); }
  // Null when the name is not assigned. Lives until it is deassigned.
  std::string* path_of(const Name8& logical);

  // The next opening of the file with this path reads these bytes.
  void feed(const std::string& path, std::unique_ptr<ByteSource> source);

  wrcode open(HOST_FILE** file, const Name8& logical, const WX_OPENPARM& parms);
  // After a failure the file stays open.
  wrcode close(HOST_FILE* file);

  // What is written to this open file is dropped when it is closed, and nothing of it stays.
  void abandon(HOST_FILE* file);
  bool is_open(const HOST_FILE* file) const;
  // Lets the data written to an open file outlive the file's name, for whoever may have to keep it.
  // Returns its path; empty when nothing is written there.
  std::string spare(const HOST_FILE* file);
  // Whether the data at a path is there without a name of its own.
  bool is_spared(const std::string& path) const;
  // Ends that: the data goes, unless its name still stands for it.
  void remove_spared(const std::string& path);
  // Whether an open file's records are pieces of a stream of bytes.
  static bool is_stream(const HOST_FILE* file);
  // In bytes of the source.
  static long record_length(const HOST_FILE* file);
  // The next line that is written to this file, which is open for output, gets no line feed and is
  // the last.
  static void leave_next_line_open(HOST_FILE* file);
  // See RecordWriter::write_lines; 0 of a file whose records are no lines, or not open for output.
  static std::size_t write_lines(HOST_FILE* file, std::string_view lines);
  // Takes what stands behind a descriptor's position as all that is written to this file, which is
  // open for output and empty, without copying it: `lent` then has it. False, with nothing done,
  // unless it is a regular file whose bytes would be the same, read and written record by record;
  // `interrupted` may end the look at them.
  bool lend(HOST_FILE* file, int descriptor, const std::function<bool()>& interrupted);
  LentFiles& lent() { return lent_; }
  // Whether, since this was asked last, a line was read whose line feed is missing.
  bool take_open_line();
  // For the record that was read last, from whichever file: its own, when its records
  // are its bytes, and what follows is better copied than read; else null.
  HOST_FILE* copyable_behind(const char* record) const;
  // Whether the next record of an open file is waited for.
  static bool waits(const HOST_FILE* file);
  // Copies to `out` what follows, as it comes and as far as it can be read: lines with their line
  // feeds, a stream's bytes. The next read goes on behind it, or fails. Throws std::system_error
  // when `out` cannot be written.
  static void copy_rest(HOST_FILE* file, const Destination& out);
  // The file that was opened last and is still open, or null.
  HOST_FILE* latest() const;

  const std::string& directory() const { return directory_.path(); }
  const std::vector<std::string>& found_unsent() const { return directory_.found_unsent(); }
  // Open files and assigned names.
  std::size_t outstanding() const;

  // What the data of the file that is written at the moment is to be kept as, should it not arrive.
  std::function<std::string()> name_of_output;

 private:
  friend class TempFile;
  void remove(const std::string& path);
  // How the records of a file are converted; none when they are not, or cannot be: `why` then
  // tells.
  std::optional<RemoteText> remote_text(const WX_OPENPARM& parms, std::string& why) const;

  // The bytes of a file that is there or on its way; null, and why, when it is neither.
  std::unique_ptr<ByteSource> source_of(const std::string& path, std::string& why);

  TempDirectory directory_;
  Messages& messages_;
  Text& text_;
  std::map<Name8, std::string> assigned_;
  std::map<std::string, std::unique_ptr<ByteSource>> feeds_;  // by path
  LentFiles lent_;
  std::list<std::unique_ptr<TempFile>> files_;
  bool line_is_open_ = false;
  std::string spared_;
};

}  // namespace fileref::runtime
