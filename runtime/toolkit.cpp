#include "runtime/toolkit.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

#include "host/codes.h"
#include "runtime/launch/answers.h"
#include "runtime/launch/process.h"
#include "runtime/launch/selection.h"
#include "runtime/name_escape.h"
#include "runtime/names.h"
#include "runtime/shield.h"
#include "runtime/toolkit_text.h"

namespace fileref::runtime {

namespace {

// Servers and clients differ in letter case only.
bool says_nothing_is_there(std::string_view words) {
  const std::string upper = upper_ascii(words);
  for (std::string_view rest = upper; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find_first_of("\r\n"));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    if (line.ends_with(": NO SUCH FILE OR DIRECTORY") || line.ends_with(": NO SUCH FILE") ||
        line.ends_with("\" IS NOT A DIRECTORY")) {
      return true;
    }
  }
  return false;
}

}  // namespace

// Every object knows its toolkit through `oven` and is destroyed by one template.

template <class Call>
TKStatus Toolkit::run(TKStatus failure, Call call) {
  TKStatus result = failure;
  std::string why;
  if (shielded([&] { result = call(); }, &why) != kSuccess) trouble_.explanation = why;
  return result;
}

struct Toolkit::Pool : TKPool_S {
  std::vector<std::unique_ptr<char[]>> blocks;

  Pool() : TKPool_S{{}, &allocate} {}
  static void* allocate(TKPool_S* base, TKMemSize size, TKFlags /*flags*/) {
    auto* pool = static_cast<Pool*>(base);
    if (static_cast<Toolkit*>(pool->generic.oven)->allocation_faults_.hit()) return nullptr;
    void* block = nullptr;
    static_cast<Toolkit*>(pool->generic.oven)->run(kNoMemory, [&] {
      block = pool->blocks.emplace_back(std::make_unique<char[]>(size)).get();
      return kSuccess;
    });
    return block;
  }
};

struct Toolkit::Journal : TKJnl_S {
  Journal() : TKJnl_S{} {}
};

struct Toolkit::Pipeline : TKNLSPipeline_S {
  Pipeline() : TKNLSPipeline_S{{}, &transcode} {}
  static TKStatus transcode(TKNLSPipeline_S* pipeline, const void* source, TKMemSize length,
                            void* target, TKMemSize capacity, TKMemSize* written,
                            TKFlags /*flags*/) {
    return static_cast<Toolkit*>(pipeline->generic.oven)->run(kFailed, [&] {
      return convert(source, length, target, capacity, written);
    });
  }
  static TKStatus convert(const void* source, TKMemSize length, void* target, TKMemSize capacity,
                          TKMemSize* written) {
    const std::u32string text = to_toolkit_text({static_cast<const char*>(source), length});
    const std::size_t bytes = text.size() * sizeof(TKChar);
    *written = 0;
    if (bytes > capacity) return kFailed;
    *written =
        std::u32string_view(text).copy(static_cast<TKChar*>(target), text.size()) * sizeof(TKChar);
    return kSuccess;
  }
};

struct Toolkit::LaunchService : TKELS_S {
  LaunchService() : TKELS_S{{}, &launch} {}
  static TKStatus launch(TKExtensionh extension, const LSLaunchParams_S* parms,
                         const char* /*name*/, TKJnlh /*journal*/, LSProcessp* process) {
    auto* toolkit = static_cast<Toolkit*>(extension->generic.oven);
    *process = nullptr;
    if (toolkit->service_faults_.hit()) return kProcessFailed;
    return toolkit->run(kProcessFailed, [&] {
      const std::string command_line = unescape_name(from_toolkit_text(parms->szCommand));
      if (toolkit->launcher) return toolkit->launcher(command_line, process);
      return toolkit->launch_client(command_line, process);
    });
  }
};

// The process that the module drives, and what it tells of its work.
struct Toolkit::Process : runtime::Process {
  Toolkit& toolkit;
  std::vector<std::string> words;  // it was launched with
  std::string command;             // that was sent last

  Process(Toolkit& of, std::shared_ptr<Client> client, std::vector<std::string> with)
      : runtime::Process(std::move(client)), toolkit(of), words(std::move(with)) {
    toolkit.driven_ = &this->client();
    ++toolkit.outstanding_;
  }
  ~Process() override {
    if (toolkit.driven_ == &client()) toolkit.driven_ = nullptr;
    --toolkit.outstanding_;
    if (stays()) toolkit.spare_ = {std::move(words), give_up_client()};
  }

  bool stays() const { return toolkit.keeps_clients_ && client().is_renewable(); }
  void close() override {
    if (!stays()) runtime::Process::close();
  }

  void note_missing_directory(std::string_view answer) {
    const bool refused = command.starts_with("cd \"") && answer.starts_with("no such file");
    toolkit.trouble_.no_such_directory |=
        refused &&
        (says_nothing_is_there(client().words()) || says_nothing_is_there(client().explanation()));
  }

  // A download that is refused need not fail the call that asked for it.
  void note_refusal(std::string_view answer) {
    if (!command.starts_with("get \"") || !answer.starts_with("unable to open")) return;
    const std::string name = unescape_name(command.substr(5, command.rfind("\" \"") - 5));
    const std::string& why =
        client().explanation().empty() ? client().words() : client().explanation();
    const std::string_view line = std::string_view(why).substr(0, why.find_first_of("\r\n"));
    toolkit.trouble_.refused.push_back("\"" + name + "\" was skipped: " + std::string(line));
  }

  TKStatus read(int mode, char* buffer, TKMemSize capacity, TKMemSize* length) override {
    if (toolkit.service_faults_.hit()) return kProcessFailed;
    const TKStatus rc = runtime::Process::read(mode, buffer, capacity, length);
    note_refusal({buffer, *length});
    note_missing_directory({buffer, *length});
    return rc;
  }
  TKStatus send(std::string_view text) override {
    if (toolkit.service_faults_.hit()) return kProcessFailed;
    toolkit.driven_ = &client();
    command = text;
    return runtime::Process::send(text);
  }
  TKStatus wait(std::chrono::milliseconds at_most) override {
    if (toolkit.service_faults_.hit()) return kProcessFailed;
    return runtime::Process::wait(at_most);
  }
};

template <class T, class Record>
TKStatus Toolkit::destroy(TKGeneric* object) {
  --static_cast<Toolkit*>(object->oven)->outstanding_;
  delete static_cast<T*>(reinterpret_cast<Record*>(object));
  return kSuccess;
}

template <class T, class Record>
T* Toolkit::make(const char* name) {
  if (service_faults_.hit()) return nullptr;
  auto* object = new (std::nothrow) T();
  if (object == nullptr) return nullptr;
  *reinterpret_cast<TKGeneric*>(static_cast<Record*>(object)) = {this, name, &destroy<T, Record>};
  ++outstanding_;
  return object;
}

Toolkit::Toolkit(Log& log, FaultPoint& allocation_faults, FaultPoint& service_faults)
    : log_(log), allocation_faults_(allocation_faults), service_faults_(service_faults) {
  static constexpr auto self = [](TK_HNDL_S* handle) -> Toolkit& {
    return *static_cast<Handle*>(handle)->toolkit;
  };
  handle_.toolkit = this;
  handle_.poolCreate = [](TK_HNDL_S* tk, const TKPoolCreateParms_S*, void*, const char* name) {
    return static_cast<TKPoolh>(self(tk).make<Pool, TKPool_S>(name));
  };
  handle_.jnlCreate = [](TK_HNDL_S* tk, const TKJnlCreateParms_S*, void*, const char* name) {
    return static_cast<TKJnlh>(self(tk).make<Journal, TKJnl_S>(name));
  };
  handle_.loadExtension = [](TK_HNDL_S* tk, const TKChar* name, long length,
                             TKJnlh) -> TKExtensionh {
    if (std::u32string_view(name, static_cast<std::size_t>(length)) != U"tkels") return nullptr;
    auto* service = self(tk).make<LaunchService, TKELS_S>("tkels");
    return service == nullptr ? nullptr : &service->extension;
  };
  handle_.tknls = &nls_;
  nls_.toolkit = this;
  nls_.pipelineCreate = [](TKNLS_S* nls, int request, TKFlags, TKJnlh) -> TKNLSPipelineh {
    if (request != kPipelineToToolkit) return nullptr;
    return static_cast<Nls*>(nls)->toolkit->make<Pipeline, TKNLSPipeline_S>("pipeline");
  };
}

TKStatus Toolkit::launch_client(const std::string& command_line, LSProcessp* process) {
  LaunchRequest request = launch;
  request.command_line = command_line;
  request.journal = [this](std::string_view text) { log_.write("client", text); };
  request.said = client_said;
  request.trouble = [this](const std::string& explanation, const std::string& words) {
    if (!explanation.empty()) trouble_.explanation = explanation;
    if (!words.empty()) trouble_.words = words;
  };
  std::vector<std::string> words = request.extra_arguments;
  words.push_back(command_line);
  std::string why;
  std::shared_ptr<Client> client = take_spare(words);
  if (!client) client = Client::launch(std::move(request), &why);
  if (!client) {
    log_.write("client", why);
    trouble_.explanation = why;
    return kProcessFailed;
  }
  clients_.insert_or_assign(log_.subject(), client);
  *process = new Process(*this, std::move(client), std::move(words));
  return kSuccess;
}

void Toolkit::keep_clients(bool keep) {
  keeps_clients_ = keep;
  if (!keep) spare_ = {};
}

std::shared_ptr<Client> Toolkit::take_spare(const std::vector<std::string>& words) {
  if (words != spare_.words) return nullptr;
  std::shared_ptr<Client> client = std::exchange(spare_, {}).client;
  return client && client->renew(launch.expected) ? client : nullptr;
}

void Toolkit::pause(std::chrono::milliseconds at_most) {
  if (driven_ != nullptr && driven_->busy()) driven_->pump(at_most);
}

std::weak_ptr<Client> Toolkit::client_of(std::string_view fileref) const {
  const auto found = clients_.find(fileref);
  return found == clients_.end() ? std::weak_ptr<Client>() : found->second;
}

TKStatus Toolkit::exchange(Client& client, const std::string& line, std::string* answer) {
  if (!client.knows_files()) {
    trouble_.explanation = "what this client says of files is not understood";
    return kProcessFailed;
  }
  constexpr int kWhole = 1;
  std::array<char, 32768> piece;
  std::size_t length = 1;
  TKStatus rc = client.send(line);
  while (rc == kSuccess && length > 0 && !answer->ends_with(kPrompt)) {
    rc = client.read(kWhole, piece.data(), piece.size(), &length);
    answer->append(piece.data(), length);
  }
  return rc;
}

TKStatus Toolkit::ask(Client& client, std::string_view command, std::string_view name,
                      std::optional<FileStatus>* found) {
  std::string answer;
  const TKStatus rc = exchange(
      client, std::string(command) + " \"" + escape_name(std::string(name)) + "\"\n", &answer);
  *found = read_status(answer);
  if (!*found) client.tell_trouble();
  return rc;
}

TKStatus Toolkit::list(Client& client, std::string_view pattern, std::vector<std::string>* names) {
  std::string answer;
  const TKStatus rc = exchange(client, "ls " + escape_name(pattern) + "\n", &answer);
  if (rc == kSuccess) *names = names_in(answer);
  if (names->empty()) client.tell_trouble();
  return rc;
}

void Toolkit::explain(std::string_view more) {
  if (!trouble_.explanation.empty()) trouble_.explanation += "; ";
  trouble_.explanation += more;
}

}  // namespace fileref::runtime
