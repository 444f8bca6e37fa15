// Starting the client of a fileref.
#include "sup/src/yxsftp/session.h"

extern TKHndlp Exported_TKHandle;

namespace {

constexpr TKFlags kJournalFlags = 0x4000000;
constexpr std::size_t kJournalSize = 8096;
constexpr TKFlags kPoolRequest = 0x80000000;
constexpr TKFlags kLaunchFlags = 0x4000E;
constexpr TKChar kLaunchService[] = U"tkels";
constexpr long kLaunchServiceLength = 5;

// The client gets no variables beyond the host's own.
TKNameValue envvar[2];

// A toolkit object of this scope; may be null.
template <class Object>
class Owned {
 public:
  explicit Owned(Object* object) : object_(object) {}
  ~Owned() {
    if (object_ != nullptr) object_->generic.destroy(&object_->generic);
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;

  Object* get() const { return object_; }
  Object* operator->() const { return object_; }

 private:
  Object* object_;
};

TKPoolh create_pool(TKHndlp tk) {
  const TKPoolCreateParms_S parms = {};
  return tk->poolCreate(tk, &parms, nullptr, "poolName");
}

TKJnlh create_journal(TKHndlp tk) {
  TKJnlCreateParms_S parms = {};
  parms.preAlc = kJournalSize;
  parms.flags = kJournalFlags;
  return tk->jnlCreate(tk, &parms, nullptr, "journal");
}

TKNLSPipelineh create_pipeline(TKHndlp tk, TKJnlh journal) {
  if (tk->tknls == nullptr) return nullptr;
  return tk->tknls->pipelineCreate(tk->tknls, kPipelineToToolkit, 0, journal);
}

TKStatus start_process(FLCB* flcb, TKChar* command) {
  LSLaunchParams_S parms = {};
  parms.szCommand = command;
  parms.nvEnvironment = envvar;
  parms.exitAction = tkels_action_none;
  parms.flags = kLaunchFlags;
  auto* service = reinterpret_cast<TKELS_S*>(flcb->els);
  return service->launch(flcb->els, &parms, "exec", flcb->sftp_jnl, &flcb->hProcess);
}

// Starts the command line once it is in toolkit characters: at most one for each of its bytes.
rctype launch_command(FFCB* ffcb, FLCB* flcb, TKHndlp tk, TKPoolh pool) {
  const Owned<TKNLSPipeline_S> pipeline(create_pipeline(tk, flcb->sftp_jnl));
  if (pipeline.get() == nullptr) return fail<message::NoTranscoder>();
  const auto length = static_cast<TKMemSize>(ffcb->cmdlen);
  const TKMemSize capacity = sizeof(TKChar) * length;
  auto* command = static_cast<TKChar*>(pool->memAlloc(pool, capacity, kPoolRequest));
  if (command == nullptr) return kNoMemory;
  TKMemSize written = 0;
  if (pipeline->Transcode(pipeline.get(), ffcb->cmd, length, command, capacity, &written, 0) != 0) {
    return fail<message::NoTranscoder>();
  }
  return start_process(flcb, command) == 0 ? kSuccess : fail<message::ClientNotStarted>();
}

rctype launch(FFCB* ffcb, FLCB* flcb) {
  TKHndlp tk = Exported_TKHandle;
  if (tk == nullptr) return fail<message::NoToolkit>();
  const Owned<TKPool_S> pool(create_pool(tk));
  if (pool.get() == nullptr) return fail<message::NoPool>();
  flcb->sftp_jnl = create_journal(tk);
  if (flcb->sftp_jnl == nullptr) return fail<message::NoJournal>();
  flcb->els = tk->loadExtension(tk, kLaunchService, kLaunchServiceLength, flcb->sftp_jnl);
  if (flcb->els == nullptr) return fail<message::NoLaunchService>();
  return launch_command(ffcb, flcb, tk, pool.get());
}

rctype await_first_prompt(FFCB* ffcb) {
  const int rc = parsestdout(ffcb);
  const bool answered = rc == kSuccess || rc == kLaunchNotice;
  if (answered && ffcb->sftpPrompt != 0) return docd(ffcb);
  log_message<message::SessionNotEstablished>("SFTP");
  return rc == kNoAnswerInTime ? fail<message::NoAnswerInTime>()
                               : fail<message::ClientNotStarted>();
}

}  // namespace

rctype connect_to_server(FFCB* ffcb, rebid reb) {
  rctype rc = yxszl2l(ffcb->logname, nullptr, nullptr, reb);
  if (rc != kSuccess) return rc;
  FLCB* flcb = ffcb->flcb;
  end_client(flcb);
  flcb->astray = false;
  rc = launch(ffcb, flcb);
  if (rc == kSuccess) rc = await_first_prompt(ffcb);
  flcb->astray = rc != kSuccess;
  return rc;
}

rctype start_session(FFCB* ffcb, rebid reb) {
  FLCB* flcb = ffcb->flcb;
  if ((flcb->flag & kSessionPending) == 0) return kSuccess;
  const rctype rc = connect_to_server(ffcb, reb);
  if (rc == kSuccess) flcb->flag &= ~kSessionPending;
  return rc;
}
