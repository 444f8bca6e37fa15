// The host: every service a module asks for, and the module itself.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "host/anchor.h"
#include "host/method.h"
#include "host/module.h"
#include "runtime/fault_point.h"
#include "runtime/host_options.h"
#include "runtime/log.h"
#include "runtime/memory.h"
#include "runtime/messages.h"
#include "runtime/registry.h"
#include "runtime/services.h"
#include "runtime/temp/temp_method.h"
#include "runtime/text.h"
#include "runtime/tokens.h"
#include "runtime/toolkit.h"
#include "runtime/variables.h"

namespace fileref::runtime {

struct RuntimeOptions {
  Log::Sink log;
  std::string session_encoding = "UTF-8";
  std::string temp_parent;       // empty: $TMPDIR, or /tmp
  std::string unsent_directory;  // as for `keep_unsent`
  HostOptionValues host_options;
};

// Each has an image of the module to itself, because an image has one set of anchors. Used from one
// thread at a time.
class Runtime {
 public:
  // Throws std::system_error without a temporary directory, std::invalid_argument for a bad session
  // encoding.
  explicit Runtime(RuntimeOptions options);
  Runtime(const Runtime&) = delete;
  Runtime& operator=(const Runtime&) = delete;

  // Services are plain functions, which cannot tell whose module calls them: while one of these
  // lives, those that its thread calls are this runtime's. Around every call into the module; a
  // function of the program that is called out of one may enter another runtime.
  class Entered {
   public:
    explicit Entered(Runtime& runtime) : outer_(std::exchange(current_, &runtime)) {}
    ~Entered() { current_ = outer_; }
    Entered(const Entered&) = delete;
    Entered& operator=(const Entered&) = delete;

   private:
    Runtime* outer_;
  };
  // The one that this thread has entered.
  static Runtime& current() { return *current_; }

  // Connects a module image: its descriptor is checked and its entry remembered. Throws
  // std::runtime_error when it is no such module.
  void connect(ModuleConnectFn* connect_module);
  // The method's block, made by the module's entry on first use. Null, with the entry's code in
  // `rc` and its text attached, when the module refuses.
  AMMCB* method_block(rctype* rc);

  rebid request() { return &request_; }
  ptr* anchor() { return anchor_; }

  // Called before every entry of the module: what it is about, and nothing attached yet.
  void begin_entry(std::string_view fileref);

  // Blocks, pools, files and toolkit objects that nobody has given back, less the method's own
  // block and table, which live as long as this.
  long outstanding() const;

  HostOptionValues host_options;
  Log log;
  Memory memory;
  Messages messages;
  Text text;
  Registry registry;
  TempMethod temp;
  Variables variables;
  FaultPoint service_faults;
  Toolkit toolkit;
  // Told about every pause the module asks for.
  std::function<void(long milliseconds)> on_pause;
  YXGCBSTR access_method_control{};
  // The option text that the module reads at the moment, or null.
  OptionSource* options_being_read = nullptr;

 private:
  void fill_anchor();

  // Read at every record, so where a thread finds it at once.
  [[gnu::tls_model("initial-exec")]] static inline thread_local constinit Runtime* current_ =
      nullptr;

  TASKCTX task_context_{};
  TASK task_{};
  REB request_{};
  WYH2CV variable_services_{};
  YAKGCBSTR global_{};
  HOST_CALL call_{};
  VectorStatus status_{};
  ptr anchor_[kAnchorElements] = {};
  MethodEntryFn* entry_ = nullptr;
  AMMCB* block_ = nullptr;
  long blocks_of_method_ = 0;
};

}  // namespace fileref::runtime
