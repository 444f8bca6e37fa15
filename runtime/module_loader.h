// Finds and loads the access-method module.
#pragma once

#include <string>

#include "host/module.h"

namespace fileref::runtime {

// The module's image stays loaded as long as the loader lives.
class ModuleLoader {
 public:
  // Loads `path`; empty: $FILEREF_MODULE, else beside this code's own image or the program, else
  // where it is installed. Throws std::runtime_error naming the places it looked at.
  explicit ModuleLoader(const std::string& path);
  ~ModuleLoader();
  ModuleLoader(const ModuleLoader&) = delete;
  ModuleLoader& operator=(const ModuleLoader&) = delete;

  ModuleConnectFn* connect_routine() const { return connect_; }

 private:
  void* image_ = nullptr;
  ModuleConnectFn* connect_ = nullptr;
};

}  // namespace fileref::runtime
