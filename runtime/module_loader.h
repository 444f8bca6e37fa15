// Finds and loads the access-method module.
#pragma once

#include <memory>
#include <string>

#include "host/module.h"
#include "runtime/fd.h"

namespace fileref::runtime {

// An image of the module that nobody else in this process has; it stays loaded as long as the
// loader lives. The first one is the module's file itself, where debuggers find its symbols. The
// system loads a file once only, so the others are of copies in memory.
class ModuleLoader {
 public:
  // Loads `path`; empty: $FILEREF_MODULE, else beside this code's own image or the program, else
  // where it is installed. Throws std::runtime_error naming the places it looked at.
  explicit ModuleLoader(const std::string& path);
  ModuleLoader(const ModuleLoader&) = delete;
  ModuleLoader& operator=(const ModuleLoader&) = delete;

  ModuleConnectFn* connect_routine() const { return connect_; }

 private:
  struct Close {
    void operator()(void* image) const;
  };
  // Marks that somebody has the file itself.
  class Claim {
   public:
    Claim();
    ~Claim();
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;
    explicit operator bool() const { return holds_; }

   private:
    bool holds_;
  };

  void load(const std::string& file);
  static Fd copy_of(const std::string& file);

  Claim claim_;
  Fd copy_;  // open as long as its image is loaded: its name must stay its own
  std::unique_ptr<void, Close> image_;
  ModuleConnectFn* connect_ = nullptr;
};

}  // namespace fileref::runtime
