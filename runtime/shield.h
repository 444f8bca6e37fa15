// Keeps exceptions of the host out of the module, which they could only run through without its
// cleaning up.
#pragma once

#include <exception>
#include <new>
#include <string>

#include "host/codes.h"

namespace fileref::runtime {

// Runs what the module called. 0; or kNoMemory or kFailed when it threw, with the reason in `why`.
template <class Call>
wrcode shielded(Call call, std::string* why) {
  try {
    call();
    return kSuccess;
  } catch (const std::bad_alloc&) {
    *why = "there is not enough memory";
    return kNoMemory;
  } catch (const std::exception& error) {
    *why = error.what();
  } catch (...) {
    *why = "a function that was handed to the host failed";
  }
  return kFailed;
}

}  // namespace fileref::runtime
