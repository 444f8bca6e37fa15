// Functions of the program that are called while the module is at work.
#pragma once

#include <exception>
#include <functional>
#include <utility>

namespace fileref::runtime {

// Keeps what they throw away from the module, through whose frames nothing may be thrown, until it
// can be thrown on. Must outlive what it wraps.
class CallbackGuard {
 public:
  // `callback`, or an empty function for an empty one. Once one has thrown, none is called any
  // more: they return a default value until the exception was taken.
  template <class Result, class... Arguments>
  std::function<Result(Arguments...)> wrap(std::function<Result(Arguments...)> callback) {
    if (!callback) return {};
    return [this, callback = std::move(callback)](Arguments... arguments) {
      try {
        if (!thrown_) return callback(std::forward<Arguments>(arguments)...);
      } catch (...) {
        thrown_ = std::current_exception();
      }
      return Result();
    };
  }

  bool has_thrown() const { return static_cast<bool>(thrown_); }
  // What was thrown, or null; it is the caller's from then on.
  std::exception_ptr take() { return std::exchange(thrown_, nullptr); }
  void rethrow() {
    if (thrown_) std::rethrow_exception(take());
  }

 private:
  std::exception_ptr thrown_;
};

}  // namespace fileref::runtime
