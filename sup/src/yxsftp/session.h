// The dialogue with the client: one command, one answer.
#pragma once

#include "host/messages.h"
#include "sup/src/yxsftp/ffcb.h"
#include "sup/src/yxsftp/report.h"
#include "sup/src/yxsftp/text.h"

// Starts the client of the file's fileref with the command line in FFCB.cmd, waits for its first
// prompt and enters the remote directory. A client of an earlier start is ended first. What a
// failed start leaves stays until the next one, but is given no command any more: files that were
// opened before would be sent to where the client happens to stand.
rctype connect_to_server(FFCB* ffcb, rebid reb);

// Starts the client if the assignment has none yet.
rctype start_session(FFCB* ffcb, rebid reb);

constexpr TKMemSize kChunkSize = 8192;

// What one read of the client's output delivered; terminated.
struct Chunk {
  tchar text[kChunkSize + 1];
  TKMemSize length;

  void clear() {
    length = 0;
    text[0] = '\0';
  }
  operator std::string_view() const { return {text, length}; }
};

// Modes of a read: only when the answer is complete, or what there is of it.
constexpr int kWaitForAnswer = 1;
constexpr int kTakeWhatIsThere = 0;

// Lets the client work for FFCB.wait milliseconds.
void pause_for_output(const FFCB* ffcb);
// Reads at most `capacity` bytes, which the chunk must have room for.
TKStatus read_output(const FFCB* ffcb, int mode, TKMemSize capacity, Chunk* chunk);

// Reads the answer to the last command. 0: complete, with its last chunk in the fileref's answer
// buffers; kAnswerIsError: it reports an error, which is in the log; else the failure of the read.
// While the client runs a batch file, its answer is everything that it says until it ends.
int parsestdout(FFCB* ffcb);
constexpr int kAnswerIsError = 1;

// Enters the fileref's remote directory, and makes it when NEW asks for that.
rctype docd(FFCB* ffcb);
// Fetches FFCB.member into the temporary file.
rctype getfile(FFCB* ffcb);
// Sends the temporary file to FFCB.member.
rctype putfile(FFCB* ffcb);

// Whether the answer, in upper case, holds the phrase.
inline bool answer_holds(const FFCB* ffcb, std::string_view phrase) {
  return contains(view(ffcb->flcb->msgbuffer, ffcb->stdoutlen), phrase);
}

// What the client says of a `cd` that failed.
inline bool cannot_enter(const FFCB* ffcb) {
  return answer_holds(ffcb, "CANONICALISE") || answer_holds(ffcb, "SUCH FILE OR DIRECTORY");
}

// Sends FFCB.cmd. This and the calls below name `subject` in their failure.
rctype send_command(FFCB* ffcb, MessageText subject);
// Reads the answer to what was sent.
rctype read_answer(FFCB* ffcb, MessageText subject);
// Keeps the result of reading an answer in FFCB.TKrc, and turns a failure into one for the user.
rctype report_answer(FFCB* ffcb, TKStatus rc, MessageText subject);

// Writes a command with its line end into FFCB.cmd. One that does not fit is refused as a whole.
template <class... Text>
rctype write_command(FFCB* ffcb, MessageText subject, Text... texts) {
  const std::string_view line_end = view(ffcb->flcb->termstr, ffcb->flcb->termlen);
  const bool fits = join_whole(ffcb->cmd, kCommandSize, &ffcb->cmdlen, texts..., line_end);
  if (fits) return kSuccess;
  return fail_because<message::RemoteNameFailed>(subject, "Its command is longer than 4095 bytes.");
}

// Writes a command and sends it.
template <class... Text>
rctype send(FFCB* ffcb, MessageText subject, Text... texts) {
  const rctype rc = write_command(ffcb, subject, texts...);
  return rc == kSuccess ? send_command(ffcb, subject) : rc;
}

// Sends a command and reads its answer.
template <class... Text>
rctype ask(FFCB* ffcb, MessageText subject, Text... texts) {
  const rctype rc = send(ffcb, subject, texts...);
  return rc == kSuccess ? read_answer(ffcb, subject) : rc;
}
