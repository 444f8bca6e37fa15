#include "runtime/runtime.h"

#include <cstring>
#include <stdexcept>
#include <utility>

#include "host/codes.h"

namespace fileref::runtime {
namespace {

constexpr std::string_view kMethodName = "SFTP    ";
constexpr std::string_view kModuleName = "QENXBAMS";
constexpr std::string_view kEntryName = "qenxbams";
constexpr std::string_view kDescriptorTag = "QEN_Image_Information=";

}  // namespace

Runtime::Runtime(RuntimeOptions options)
    : host_options(options.host_options),
      log(std::move(options.log)),
      messages(log),
      text(std::move(options.session_encoding)),
      temp(options.temp_parent, options.unsent_directory, messages, text),
      toolkit(log, memory.allocation_faults(), service_faults) {
  fill_anchor();
  toolkit.launch.feed = [this](const std::string& path, std::unique_ptr<ByteSource> source) {
    temp.feed(path, std::move(source));
  };
  toolkit.launch.lent = &temp.lent();
}

void Runtime::fill_anchor() {
  request_ = {&memory.request_pool(), &task_};
  task_context_ = {&request_};
  task_ = {&task_context_};
  variable_services_.dssdxus = &bind_variable;
  global_ = {&variable_services_, &access_method_control, nullptr, {}};
  global_.session = const_cast<WZ_SESSION*>(&text.session());
  for (int i = 0; i < kTranslateFunctions; ++i) {
    global_.translate[i] = text.table(static_cast<TranslateFunction>(i));
  }
  anchor_[kAnchorVectors] = const_cast<HostSlot**>(service_vectors());
  anchor_[kAnchorStatus] = status_.data();
  anchor_[kAnchorHeap] = static_cast<POOL*>(&memory.heap());
  anchor_[kAnchorToolkit] = toolkit.handle();
  anchor_[kAnchorTask] = &task_;
  anchor_[kAnchorGlobal] = &global_;
  anchor_[kAnchorCall] = &call_;
}

void Runtime::connect(ModuleConnectFn* connect_module) {
  const Entered entered(*this);
  const VIMODCON* module = connect_module(anchor_, nullptr);
  if (module == nullptr || module->modconmagic != kModuleMagic ||
      std::string_view(module->tag, kDescriptorTag.size()) != kDescriptorTag) {
    throw std::runtime_error("the module's descriptor is not that of an access-method module");
  }
  for (WIPGMCON** program = module->pgmcons; *program != nullptr; ++program) {
    if (std::string_view((*program)->name, kEntryName.size()) == kEntryName)
      entry_ = (*program)->ep;
  }
  if (entry_ == nullptr) throw std::runtime_error("the module has no entry \"qenxbams\"");
}

AMMCB* Runtime::method_block(rctype* rc) {
  *rc = kSuccess;
  if (block_ != nullptr || entry_ == nullptr) return block_;
  const long before = memory.outstanding();
  AMMCB* block = nullptr;
  entry_(&block, rc);
  if (*rc != kSuccess) return nullptr;
  block_ = block;
  blocks_of_method_ = memory.outstanding() - before;
  registry.add_method(kMethodName, block);
  registry.add_method(kModuleName, block);
  return block_;
}

void Runtime::begin_entry(std::string_view fileref) {
  log.set_subject(fileref);
  messages.clear();
  toolkit.forget_trouble();
}

long Runtime::outstanding() const {
  return memory.outstanding() - blocks_of_method_ + static_cast<long>(temp.outstanding()) +
         toolkit.outstanding();
}

}  // namespace fileref::runtime
