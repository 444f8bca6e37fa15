// Reading the client's answer to one command.
#include "sup/src/yxsftp/session.h"

namespace {

constexpr TKMemSize kChunkSize = 8192;
constexpr int kTimerMode = 2;
constexpr int kWaitForAnswer = 1;

struct Chunk {
  tchar text[kChunkSize + 1];
  TKMemSize length;
};

// Stores the next chunk, terminated, once the process object says that the answer is complete.
TKStatus read_chunk(const FFCB* ffcb, Chunk* chunk) {
  const FLCB* flcb = ffcb->flcb;
  chunk->length = 0;
  wttimer(ffcb->wait, kTimerMode, nullptr);
  const TKStatus rc = flcb->hProcess->getoutput(flcb->hProcess, kWaitForAnswer, chunk->text,
                                                kChunkSize, &chunk->length, flcb->sftp_jnl);
  chunk->text[chunk->length] = '\0';
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

bool reports_error(const FFCB* ffcb) {
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

int parsestdout(FFCB* ffcb) {
  ffcb->sftpPrompt = 0;
  while (ffcb->sftpPrompt == 0) {
    Chunk chunk;
    const TKStatus rc = read_chunk(ffcb, &chunk);
    if (rc != kSuccess) return rc;
    keep_chunk(ffcb, chunk);
    if (reports_error(ffcb)) return kAnswerIsError;
    ffcb->sftpPrompt = is_complete(ffcb) ? 1 : 0;
  }
  return kSuccess;
}
