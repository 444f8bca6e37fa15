// Reading the client's answer to one command.
#include "sup/src/yxsftp/session.h"

namespace {

constexpr int kTimerMode = 2;

bool runs_batch(const FFCB* ffcb) {
  return (ffcb->flags & kOptionBatch) != 0;
}

TKStatus read_chunk(const FFCB* ffcb, Chunk* chunk) {
  if (!runs_batch(ffcb)) pause_for_output(ffcb);
  const TKStatus rc = read_output(ffcb, kWaitForAnswer, kChunkSize, chunk);
  const bool said_something = rc != kEndOfOutput;
  if (said_something && (ffcb->flags & kOptionDebug) != 0) {
    log_message<message::ClientText>(chunk->text);
  }
  return rc;
}

void keep_chunk(FFCB* ffcb, const Chunk& chunk) {
  const FLCB* flcb = ffcb->flcb;
  auto* upper = static_cast<tchar*>(flcb->msgbuffer);
  ffcb->stdoutlen = static_cast<int>(chunk.length);
  std::memcpy(flcb->msgbuffpreservecase, chunk.text, chunk.length + 1);
  wztxxlt(kUpperCase, chunk.text, upper, ffcb->stdoutlen);
  upper[chunk.length] = '\0';
}

bool batch_failed(const FFCB* ffcb) {
  if (!answer_holds(ffcb, "FATAL:") && !answer_holds(ffcb, "NO SUCH FILE OR DIRECTORY")) {
    return false;
  }
  const FAMB* options = ffcb->famb;
  if (options == nullptr || options->batchfilel == 0) return true;
  const std::string_view said = view(ffcb->flcb->msgbuffpreservecase, ffcb->stdoutlen);
  if (contains(said, view(options->batchfile, options->batchfilel))) {
    log_message<message::BatchFileFailed>(chars(options->batchfile));
  } else {
    log_message<message::BatchFailed>();
  }
  return true;
}

bool reports_error(const FFCB* ffcb) {
  if (runs_batch(ffcb) && batch_failed(ffcb)) return true;
  if (answer_holds(ffcb, "HOST DOES NOT EXIST")) {
    log_message<message::HostUnknown>(ffcb->host);
    return true;
  }
  if (answer_holds(ffcb, "LOGIN AS")) {
    log_message<message::LoginAsked>();
    return true;
  }
  return false;
}

bool is_complete(const FFCB* ffcb) {
  return answer_holds(ffcb, "SFTP>") || answer_holds(ffcb, "SFTP >") || answer_holds(ffcb, "\n");
}

}  // namespace

void pause_for_output(const FFCB* ffcb) {
  wttimer(ffcb->wait, kTimerMode, nullptr);
}

TKStatus read_output(const FFCB* ffcb, int mode, TKMemSize capacity, Chunk* chunk) {
  const FLCB* flcb = ffcb->flcb;
  chunk->clear();
  const TKStatus rc = flcb->hProcess->getoutput(flcb->hProcess, mode, chunk->text, capacity,
                                                &chunk->length, flcb->sftp_jnl);
  chunk->text[chunk->length] = '\0';
  return rc;
}

int parsestdout(FFCB* ffcb) {
  const bool batch = runs_batch(ffcb);
  ffcb->sftpPrompt = 0;
  while (batch || ffcb->sftpPrompt == 0) {
    Chunk chunk;
    const TKStatus rc = read_chunk(ffcb, &chunk);
    if (batch && rc == kEndOfOutput) return kSuccess;
    if (rc != kSuccess) return rc;
    keep_chunk(ffcb, chunk);
    if (reports_error(ffcb)) return kAnswerIsError;
    if (is_complete(ffcb)) ffcb->sftpPrompt = 1;
  }
  return kSuccess;
}
