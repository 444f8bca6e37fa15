#include "sup/src/yxsftp/mget.h"

#include "sup/src/yxsftp/listing.h"
#include "sup/src/yxsftp/session.h"

namespace {

// Takes the next name off the list. kEndOfFile when there is none; kNotInListing when its quote is
// not closed.
rctype take_entry(std::string_view* list, std::string_view* entry) {
  while (list->starts_with(' ')) list->remove_prefix(1);
  if (list->empty() || list->front() == ')') return kEndOfFile;
  const char first = list->front();
  const bool quoted = first == '\'' || first == '"';
  if (quoted) list->remove_prefix(1);
  const auto end = static_cast<tuchar>(quoted ? first : ' ');
  const int length = wzstpos(list->data(), static_cast<int>(list->size()), end);
  if (length < 0 && quoted) return kNotInListing;
  if (length < 0) {
    *entry = *list;
    if (entry->ends_with(')')) entry->remove_suffix(1);
    *list = {};
    return kSuccess;
  }
  *entry = view(list->data(), length);
  // What stands behind a closing quote is not looked at.
  const std::size_t taken = entry->size() + (quoted ? 2 : 1);
  list->remove_prefix(std::min(taken, list->size()));
  return kSuccess;
}

rctype chain_name_list(FFCB* ffcb, std::string_view list) {
  SFTP_MGET* last = nullptr;
  std::string_view entry;
  rctype rc = take_entry(&list, &entry);
  while (rc == kSuccess) {
    const int length = static_cast<int>(entry.size());
    if (length > kLongestEntry) return fail<message::RemoteNameFailed>(entry.data());
    rc = domget_build_name(entry.data(), length, ffcb, &last);
    if (rc == kSuccess) rc = take_entry(&list, &entry);
  }
  return rc == kEndOfFile ? kSuccess : rc;
}

rctype chain_names(FFCB* ffcb) {
  std::string_view list = view(ffcb->pn, ffcb->pnl);
  if (!list.starts_with('(')) return dols(ffcb);
  list.remove_prefix(1);
  return chain_name_list(ffcb, list);
}

bool cannot_be_fetched(const FFCB* ffcb) {
  return answer_holds(ffcb, "CANNOT DOWNLOAD") || answer_holds(ffcb, "NO SUCH FILE OR DIRECTORY") ||
         answer_holds(ffcb, "UNABLE TO OPEN") || answer_holds(ffcb, "ERROR WHILE READING");
}

}  // namespace

rctype domget_build_name(const char* p, int l, FFCB* ffcb, SFTP_MGET** name) {
  return append_name(ffcb, name, view(p, l), kNameEntry) == kSuccess ? kSuccess : kNoMemory;
}

rctype mget_next_file(FFCB* ffcb) {
  const SFTP_MGET* entry = ffcb->mget;
  if (entry == nullptr) return kEndOfFile;
  ffcb->memberl = entry->pnl;
  ffcb->mget = entry->next;
  rctype rc = write_command(ffcb, PrintableName(name_of(entry)).text, "get \"", name_of(entry),
                            "\" \"", view(ffcb->tempfile, ffcb->tempfilel), "\"");
  if (rc == kSuccess) rc = send_command(ffcb, ffcb->cmd);
  if (rc == kSuccess) rc = read_answer(ffcb, ffcb->cmd);
  if (rc != kSuccess) return rc;
  return cannot_be_fetched(ffcb) ? kSkipThisFile : kSuccess;
}

rctype fetch_next_file(FFCB* ffcb) {
  rctype rc = kSkipThisFile;
  while (plain_code(rc) == kSkipThisFile) rc = mget_next_file(ffcb);
  return rc;
}

rctype domget(FFCB* ffcb) {
  rctype rc = chain_names(ffcb);
  if (rc != kSuccess) return rc;
  rc = fetch_next_file(ffcb);
  return rc == kEndOfFile ? fail<message::RemoteNameFailed>(chars(ffcb->flcb->cd)) : rc;
}
