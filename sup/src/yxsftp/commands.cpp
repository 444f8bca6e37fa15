// The commands that the client is given.
#include "sup/src/yxsftp/session.h"

namespace {

constexpr int kMkdirAttempts = 2;

MessageText physical_name(const FFCB* ffcb) {
  return chars(ffcb->flcb->pn);
}

// What the user called the directory.
MessageText directory_name(const FFCB* ffcb) {
  const FLCB* flcb = ffcb->flcb;
  return chars(has_option(flcb, kOptionCd) ? flcb->cd : flcb->pn);
}

// False when there is nothing to enter.
bool find_directory(const FFCB* ffcb, std::string_view* directory) {
  const FLCB* flcb = ffcb->flcb;
  if (has_option(flcb, kOptionCd)) {
    *directory = view(flcb->cd, flcb->cdl);
  } else if ((ffcb->flags & kOptionDir) != 0 || is_directory(flcb)) {
    *directory = view(flcb->pn, flcb->pnl);
  } else if (flcb->pathl > 0) {
    *directory = view(flcb->pn, flcb->pathl);
  } else {
    return false;
  }
  return true;
}

rctype change_directory(FFCB* ffcb, std::string_view directory, bool* entered) {
  FAMB* options = ffcb->flcb->amb;
  rctype rc = send(ffcb, physical_name(ffcb), "cd \"", directory, "\"");
  if (rc != kSuccess) return rc;
  if (options != nullptr) options->flags |= kBlockCdSent;
  rc = read_answer(ffcb, physical_name(ffcb));
  if (rc != kSuccess) return rc;
  *entered = !cannot_enter(ffcb);
  return kSuccess;
}

rctype make_directory(FFCB* ffcb) {
  const FLCB* flcb = ffcb->flcb;
  const rctype rc = ask(ffcb, physical_name(ffcb), "mkdir \"", view(flcb->pn, flcb->pnl), "\"");
  if (rc != kSuccess) return rc;
  if (answer_holds(ffcb, "FAILURE")) return kCannotEnter;
  if (ffcb->sftpPrompt == 0) return fail<message::RemoteNameFailed>(directory_name(ffcb));
  return kSuccess;
}

}  // namespace

rctype send_command(FFCB* ffcb, MessageText subject) {
  LSProcessp process = ffcb->flcb->hProcess;
  const auto length = static_cast<TKMemSize>(ffcb->cmdlen);
  ffcb->TKrc = process == nullptr || ffcb->flcb->astray
                   ? kProcessFailed
                   : process->sendinput(process, ffcb->cmd, length, ffcb->flcb->sftp_jnl);
  if (ffcb->TKrc == kSuccess) return kSuccess;
  fail<message::RemoteNameFailed>(subject);
  log_message<message::ClientText>(ffcb->cmd);
  return kFailed;
}

rctype report_answer(FFCB* ffcb, TKStatus rc, MessageText subject) {
  ffcb->TKrc = rc;
  if (rc == kNoAnswerInTime) return fail<message::NoAnswerInTime>();
  return rc == kSuccess ? kSuccess : fail<message::RemoteNameFailed>(subject);
}

rctype read_answer(FFCB* ffcb, MessageText subject) {
  return report_answer(ffcb, parsestdout(ffcb), subject);
}

rctype docd(FFCB* ffcb) {
  std::string_view directory;
  const bool wanted = find_directory(ffcb, &directory);
  for (int made = 0;; ++made) {
    ffcb->TKrc = kSuccess;
    if (answer_holds(ffcb, "HOST KEY IS NOT CACHED")) return kFailed;
    if (!wanted) return kSuccess;
    bool entered = false;
    rctype rc = change_directory(ffcb, directory, &entered);
    if (rc != kSuccess || entered) return rc;
    if (!has_option(ffcb->flcb, kOptionNew)) {
      return fail<message::RemoteNameFailed>(directory_name(ffcb));
    }
    if (made == kMkdirAttempts) return kCannotEnter;
    rc = make_directory(ffcb);
    if (rc != kSuccess) return rc;
  }
}

rctype getfile(FFCB* ffcb) {
  const rctype rc = ask(ffcb, chars(ffcb->member), "get \"", view(ffcb->member, ffcb->memberl),
                        "\" \"", view(ffcb->tempfile, ffcb->tempfilel), "\"");
  if (rc != kSuccess) return rc;
  if (!answer_holds(ffcb, "SUCH FILE OR DIRECTORY")) return kSuccess;
  return fail<message::RemoteNameFailed>(chars(ffcb->member));
}

rctype putfile(FFCB* ffcb) {
  return ask(ffcb, chars(ffcb->member), "put \"", view(ffcb->tempfile, ffcb->tempfilel), "\" \"",
             view(ffcb->member, ffcb->memberl), "\"");
}
