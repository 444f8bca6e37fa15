// The dialogue of a listing: the command, and its answer chunk by chunk.
#include "sup/src/yxsftp/listing.h"

#include "sup/src/yxsftp/session.h"

namespace {

constexpr std::string_view kListAll = "ls -a ";
constexpr int kPromptBehindEcho = 6;  // a prompt from here on does not belong to an echo
constexpr long kLargeListing = 58000;

std::string_view working_text(const FFCB* ffcb) {
  return view(ffcb->flcb->msgbuffer, ffcb->stdoutlen);
}

rctype write_list_command(FFCB* ffcb) {
  const bool pattern = (ffcb->flags & kOptionMget) != 0 && ffcb->pnl > 0;
  if (pattern) {
    return write_command(ffcb, chars(ffcb->member), "ls ", view(ffcb->member, ffcb->memberl));
  }
  if (ffcb->lssuff != nullptr) {
    return write_command(ffcb, chars(ffcb->lssuff), "ls ", view(ffcb->lssuff, ffcb->lssuffl));
  }
  const bool all = (ffcb->flags & kOptionLsa) != 0;
  return write_command(ffcb, chars(ffcb->pn), all ? kListAll : std::string_view("ls "));
}

rctype nothing_there(const FFCB* ffcb) {
  if (ffcb->lssuffl == 0) return fail<message::RemoteNameFailed>(chars(ffcb->pn));
  const MessageText asked = chars(ffcb->lssuff);
  if (wzstpos(asked, ffcb->lssuffl, '*') >= 0) log_message<message::PatternListed>(asked);
  return fail<message::RemoteNameFailed>(asked);
}

TKStatus await_output(const FFCB* ffcb) {
  const FLCB* flcb = ffcb->flcb;
  pause_for_output(ffcb);
  return flcb->hProcess->outputwait(flcb->hProcess, ffcb->wait, flcb->sftp_jnl);
}

// The client has no way to list all: it is asked for what it can list.
bool refuses_list_all(const FFCB* ffcb, const Chunk& chunk) {
  return std::string_view(ffcb->cmd, kListAll.size()) == kListAll &&
         contains(chunk, "Invalid flag");
}

rctype list_visible(FFCB* ffcb) {
  const rctype rc = write_command(ffcb, chars(ffcb->pn), "ls ");
  return rc == kSuccess ? send_command(ffcb, ffcb->cmd) : rc;
}

struct Prompt {
  int at;  // -1: there is none
  int length;
};

Prompt find_prompt(std::string_view text) {
  constexpr std::string_view kPrompts[] = {"sftp>", "sftp >"};
  for (const std::string_view prompt : kPrompts) {
    const int length = static_cast<int>(prompt.size());
    const int at = wzstndx(text.data(), static_cast<int>(text.size()), prompt.data(), length);
    if (at >= 0) return {at, length};
  }
  return {-1, 0};
}

// The line of an echo does not belong to the listing.
std::string_view without_echo(std::string_view text) {
  const int prompt = find_prompt(text).at;
  if (prompt >= kPromptBehindEcho) return text;
  const auto from = static_cast<std::size_t>(std::max(prompt, 0));
  const int line_end = wzstpos(text.data() + from, static_cast<int>(text.size() - from), '\n');
  if (line_end >= 0) text.remove_prefix(from + static_cast<std::size_t>(line_end) + 1);
  return text;
}

// The text to be taken apart: the chunk, behind what the one before it left unfinished.
void build_working_text(Listing* listing, std::string_view chunk) {
  FFCB* ffcb = listing->ffcb;
  const FLCB* flcb = ffcb->flcb;
  std::memset(flcb->msgbuffer, 0, flcb->buflen);
  std::memset(flcb->msgbuffpreservecase, 0, flcb->buflen);
  const std::string_view tail = view(listing->tail, listing->carried);
  if (listing->first) chunk = without_echo(chunk);
  auto* text = static_cast<tchar*>(flcb->msgbuffer);
  ffcb->stdoutlen = join(text, -static_cast<int>(flcb->buflen), tail, chunk);
  std::memcpy(flcb->msgbuffpreservecase, text, static_cast<std::size_t>(ffcb->stdoutlen));
  listing->carried = 0;
  if ((ffcb->flags & kOptionDebug) != 0 && ffcb->stdoutlen != 0) {
    log_message<message::ClientText>(text);
  }
}

// Takes the prompt, with the byte behind it, off the end of the working text, and returns what is
// in front of the prompt.
std::string_view take_prompt(Listing* listing) {
  FFCB* ffcb = listing->ffcb;
  const Prompt prompt = find_prompt(working_text(ffcb));
  if (prompt.at < 0) return working_text(ffcb);
  if (!listing->first || prompt.at > 0) listing->more = false;
  ffcb->stdoutlen -= std::min(prompt.length + 1, ffcb->stdoutlen - prompt.at);
  const std::string_view text = working_text(ffcb);
  return prompt.at == 0 ? text : view(text.data(), std::min(prompt.at, ffcb->stdoutlen));
}

rctype take_chunk(Listing* listing, std::string_view chunk) {
  FFCB* ffcb = listing->ffcb;
  build_working_text(listing, chunk);
  if ((ffcb->flags & kOptionMget) != 0 &&
      contains(working_text(ffcb), "no such file or directory")) {
    log_message<message::NothingListed>();
    return kNotInListing;
  }
  const rctype rc = take_names(listing, take_prompt(listing));
  listing->first = false;
  return rc;
}

int broken_off(const FFCB* ffcb, const Chunk& last, TKStatus rc) {
  if ((ffcb->flags & kOptionDebug) != 0) log_message<message::ClientText>(last.text);
  return rc == kEndOfOutput ? kSuccess : rc;
}

// Silence ends a listing that has begun.
int silence(const Listing& listing, long total) {
  if (listing.first) return kNoAnswerInTime;
  if (total > kLargeListing) log_message<message::ListingMayBeCut>();
  return kSuccess;
}

}  // namespace

int parsestdoutls(FFCB* ffcb) {
  Listing listing{ffcb};
  Chunk chunk;
  chunk.clear();
  long total = 0;
  while (listing.more) {
    TKStatus rc = await_output(ffcb);
    if (rc == kNoAnswerInTime) return silence(listing, total);
    if (rc == kLaunchNotice) return rc;
    const auto carried = static_cast<TKMemSize>(listing.carried);
    if (rc == kSuccess) rc = read_output(ffcb, kTakeWhatIsThere, kChunkSize - carried, &chunk);
    if (rc != kSuccess) return broken_off(ffcb, chunk, rc);
    total += static_cast<long>(chunk.length);
    if (refuses_list_all(ffcb, chunk)) {
      rc = list_visible(ffcb);
    } else if (chunk.length > 0) {
      rc = take_chunk(&listing, chunk);
    }
    if (rc != kSuccess) return rc;
  }
  return kSuccess;
}

rctype dols(FFCB* ffcb) {
  rctype rc = write_list_command(ffcb);
  if (rc == kSuccess) rc = send_command(ffcb, ffcb->cmd);
  if (rc != kSuccess) return rc;
  if ((ffcb->flags & (kOptionMget | kOptionLsa)) == 0) ffcb->flags |= kOptionLs;
  rc = report_answer(ffcb, parsestdoutls(ffcb), ffcb->cmd);
  if (rc != kSuccess) return rc;
  auto* text = static_cast<tchar*>(ffcb->flcb->msgbuffer);
  wztxxlt(kUpperCase, text, text, ffcb->stdoutlen);
  const bool missing =
      answer_holds(ffcb, "CANONICALISE") || answer_holds(ffcb, "NO SUCH FILE OR DIRECTORY");
  return missing ? nothing_there(ffcb) : kSuccess;
}
