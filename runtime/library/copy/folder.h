// A directory that files are copied from or into, on a server or here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileref/host.h"
#include "fileref/target.h"

namespace fileref {

// The bytes of a file.
class CopySource {
 public:
  virtual ~CopySource() = default;
  // The next, valid until they are asked for again; none at the end of the whole file.
  virtual std::string_view next() = 0;
  // The file, where it is one of this machine: its bytes stand behind the position; else -1.
  virtual int file() const { return -1; }
  // In bytes, for who reports how far it has come; nothing where the host does.
  virtual std::optional<std::uint64_t> size() const { return std::nullopt; }
};

// A file in the making. Nothing is left of one that goes before it is finished.
class CopySink {
 public:
  virtual ~CopySink() = default;
  virtual void write(std::string_view bytes) = 0;
  // All that a CopySource's file has, which must stay open until this is finished. Whether that was
  // possible: else nothing is done.
  virtual bool write_file(int /*file*/) { return false; }
  virtual void finish() = 0;
};

// No piece of a file is larger, in bytes.
constexpr std::size_t kLargestPiece = std::size_t{256} << 10;

// Every call throws Error. A name is one name, without a slash.
class Folder {
 public:
  virtual ~Folder() = default;
  virtual bool has(const std::string& name) = 0;
  virtual bool has_directory(const std::string& name) = 0;
  virtual std::vector<std::string> matching(const std::string& pattern) = 0;
  virtual std::unique_ptr<CopySource> open(const std::string& name) = 0;
  virtual std::unique_ptr<CopySink> create(const std::string& name) = 0;
  // The same for two names of one file, as far as that can be told; empty: there is none.
  virtual std::string identity(const std::string& name) const = 0;
};

// Of this machine. Throws when it is no directory.
std::unique_ptr<Folder> folder_here(const std::string& path);

// Starts a session for `fileref`, which goes with the folder.
std::unique_ptr<Folder> folder_there(Host& host, const std::string& fileref,
                                     const Target& directory,
                                     const std::vector<std::string>& options);

// What tells a file of this machine from all others; empty when there is none.
std::string identity_here(const std::string& path);

}  // namespace fileref
