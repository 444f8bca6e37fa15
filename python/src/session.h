// A host of the library that Python objects use, from one thread at a time.
#pragma once

#include <pybind11/pybind11.h>

#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fileref/fileref.h"

namespace fileref::python {

namespace py = pybind11;

// Text of the file system, as os.fsencode and os.fsdecode convert it.
std::string bytes_of(const py::handle& text);
std::vector<std::string> bytes_of_each(const py::handle& texts);
py::str text_of(std::string_view bytes);

// Calls into the library, of all threads: what the end of the interpreter waits for.
class Calls {
 public:
  // Counts a call. Both need the GIL, and neither returns in a thread that the end of the
  // interpreter leaves behind.
  Calls();
  ~Calls();
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;

  // Whether the call of this thread is to end because the interpreter does.
  static bool must_end();
  // In a process that was forked off nothing is under way.
  static void forget() { under_way_ = 0; }
  // Ends those under way in other threads, and these threads with their next. Needs the GIL.
  static void end_all();

 private:
  [[noreturn]] static void stop_thread();

  static std::atomic<int> under_way_;
  static std::atomic<unsigned long> last_thread_;  // which alone still calls; 0: all do
};

// For a host: what the keyword arguments of a call say, and an end at Ctrl-C.
HostOptions host_options(const py::dict& given);

class Session {
 public:
  explicit Session(const py::dict& options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Runs a call of the library without the GIL. Throws UsageError when another thread is in one,
  // and when the session has ended.
  template <class Call>
  decltype(auto) run(Call call) {
    return hold([&]() -> decltype(auto) {
      const py::gil_scoped_release without_gil;
      return call();
    });
  }
  // The same for what takes no time, and keeps the GIL.
  template <class Call>
  decltype(auto) hold(Call call) {
    const Calls counted;
    const Turn turn(in_use_);
    if (has_ended_) throw UsageError("This session has ended.");
    return call();
  }
  // The same for what is over when this returns, at the end of its use. Never throws.
  template <class Call>
  void finish(Call call) noexcept {
    try {
      run(call);
    } catch (...) {
      // Whoever closes in time hears of it.
    }
  }

  Host& host() { return *host_; }
  Directory& directory();
  // What is still open of it then must neither be used nor destroyed.
  bool has_ended() const { return has_ended_; }

  // Lets the session stand for a directory (DIR), or for files. Starts nothing, and takes no login
  // later if it stood for others of the same server.
  void assign(const Target& target, const std::vector<std::string>& options);
  // Of what it stands for.
  Input open(const std::vector<std::string>& options) { return host_->open(kFileref, options); }
  std::optional<FileStatus> stat() { return host_->stat(kFileref); }
  void close();

  // For the end of the interpreter, when no other thread is in a call; needs the GIL.
  static void close_all();
  // In a process that was forked off: all that there are belong to the other.
  static void forget_all() { Listed::all.clear(); }

 private:
  class Turn {
   public:
    explicit Turn(std::atomic<bool>& in_use) : in_use_(in_use) {
      if (in_use_.exchange(true)) {
        throw UsageError("Another thread is using this file at the moment.");
      }
    }
    ~Turn() { in_use_ = false; }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    std::atomic<bool>& in_use_;
  };

  static constexpr const char* kFileref = "REMOTE";

  // Under the GIL. One whose thread was stopped while it was made is here, too.
  class Listed {
   public:
    explicit Listed(Session* session) : session_(session) { all.insert(session); }
    ~Listed() { all.erase(session_); }
    Listed(const Listed&) = delete;
    Listed& operator=(const Listed&) = delete;

    static inline std::set<Session*> all;

   private:
    Session* session_;
  };

  Listed listed_{this};
  std::atomic<bool> in_use_{false};
  bool has_ended_ = false;
  std::optional<Host> host_;
  std::optional<Directory> directory_;
};

}  // namespace fileref::python
