// Assigning, reassigning and deassigning a fileref.
#include "dsup/src/vzatl.h"
#include "sup/src/yxsftp/directory.h"
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/ffcb.h"
#include "sup/src/yxsftp/flcb.h"
#include "sup/src/yxsftp/report.h"
#include "sup/src/yxsftp/text.h"

namespace {

struct Assignment {
  char* logicalname;
  rebid reb;
  std::string_view physicalname;
  FAMB* options;
  AMMCB* ammcb;

  bool has(int bit) const { return (options->debug & bit) != 0; }
};

bool store_text(rebid reb, std::string_view text, ptr* copy, int* length) {
  *copy = copy_text(reb, text);
  *length = static_cast<int>(text.size());
  return *copy != nullptr;
}

int last_position(std::string_view text, char c) {
  for (auto i = static_cast<int>(text.size()); i-- > 0;) {
    if (text[static_cast<std::size_t>(i)] == c) return i;
  }
  return 0;
}

// A separator at the very start does not count.
int directory_length(std::string_view physicalname) {
  const int slash = last_position(physicalname, '/');
  return slash > 0 ? slash : last_position(physicalname, '\\');
}

bool split_physical_name(FLCB* flcb, const Assignment& a) {
  const bool is_list = a.physicalname.starts_with('(');
  if (a.has(kOptionDir) || a.physicalname.empty() || is_list) return true;
  flcb->pathl = directory_length(a.physicalname);
  std::string_view member = a.physicalname;
  if (flcb->pathl > 0) member.remove_prefix(static_cast<std::size_t>(flcb->pathl) + 1);
  return store_text(flcb->reb, member, &flcb->member, &flcb->memberl);
}

bool set_directory(FLCB* flcb, const Assignment& a) {
  if (a.has(kOptionDir)) {
    if (a.has(kOptionCd)) log_message<message::CdIgnored>();
    flcb->flag = kDirectory | kMemberPending;
    return a.physicalname.empty() || store_text(flcb->reb, a.physicalname, &flcb->cd, &flcb->cdl);
  }
  if (!a.has(kOptionCd) || a.options->cdl == 0) return true;
  return store_text(flcb->reb, view(a.options->cd, a.options->cdl), &flcb->cd, &flcb->cdl);
}

bool make_answer_buffers(FLCB* flcb) {
  flcb->buflen = kAnswerBuffer;
  flcb->msgbuffer = new_buffer(flcb->reb, kAnswerBuffer);
  flcb->msgbuffpreservecase = new_buffer(flcb->reb, kAnswerBuffer);
  return flcb->msgbuffer != nullptr && flcb->msgbuffpreservecase != nullptr;
}

bool set_line_end(FLCB* flcb) {
  flcb->termstr = copy_text(flcb->reb, "\n");
  flcb->termlen = 1;
  return flcb->termstr != nullptr;
}

bool set_client_program(FLCB* flcb, const FAMB* options) {
  const std::string_view program =
      options->pathl > 0 ? view(options->path, options->pathl) : std::string_view("sftp");
  return store_text(flcb->reb, program, &flcb->sftp_server, &flcb->sftp_serverl);
}

// Fills a fresh block with everything that one assignment says. On failure the caller releases it.
bool build_fileref(FLCB* flcb, const Assignment& a) {
  flcb->ammcb = a.ammcb;
  const bool built = make_answer_buffers(flcb) &&
                     store_text(a.reb, a.physicalname, &flcb->pn, &flcb->pnl) &&
                     split_physical_name(flcb, a) && set_directory(flcb, a) && set_line_end(flcb) &&
                     set_client_program(flcb, a.options);
  flcb->flag |= kSessionPending;
  return built;
}

// From here on the fileref owns the option block; what it copied from it is not kept twice.
void take_options(FLCB* flcb, FAMB* options) {
  flcb->amb = options;
  const rebid reb = request_of(options);
  if (flcb->cd != nullptr && !is_directory(flcb)) release_buffer(reb, options->cd);
  if (options->pathl > 0) release_buffer(reb, options->path);
}

rctype add_fileref(FLCB* fresh, const Assignment& a) {
  if (vzatl(' ', a.logicalname, kNameLength, kNameLength) != 0 || a.logicalname[0] == '\0') {
    const wrcode rc = yxaunql(a.logicalname, a.reb);
    if (rc != kSuccess) return rc;
  }
  if (!build_fileref(fresh, a)) return kNoMemory;
  copy_name(fresh->logname, a.logicalname);
  take_options(fresh, a.options);
  auto* list = static_cast<FAMMCB*>(a.ammcb->data);
  fresh->next = list->flcb;
  list->flcb = fresh;
  return kSuccess;
}

// What is open keeps what it was opened with, in a block of its own; a directory, whose members are
// opened later, the options too.
void retire(FLCB* earlier) {
  for (FFCB* file = earlier->files; file != nullptr; file = file->sibling) file->flcb = earlier;
  for (FDCB* dir = earlier->directories; dir != nullptr; dir = dir->sibling) dir->flcb = earlier;
  if (earlier->directories == nullptr) release_option_block(earlier->amb, earlier);
  earlier->retired = true;
  release_unused(earlier);
}

// The block stays where it is, with its place in the list, its name and its open count; everything
// else changes places with `fresh`, which then holds the earlier assignment under the same name.
rctype replace_fileref(FLCB* flcb, FLCB* fresh, const Assignment& a) {
  if (flcb->amb != nullptr) {
    const rctype rc = yxszl2l(a.logicalname, nullptr, nullptr, a.reb);
    if (rc != kSuccess) return rc;
  }
  if (!build_fileref(fresh, a)) return kNoMemory;
  take_options(fresh, a.options);
  std::swap(*flcb, *fresh);
  std::swap(flcb->next, fresh->next);
  copy_name(flcb->logname, fresh->logname);
  std::swap(flcb->open, fresh->open);
  retire(fresh);
  return kSuccess;
}

// The list lives only while it holds something.
void drop_empty_list(AMMCB* ammcb) {
  auto* list = static_cast<FAMMCB*>(ammcb->data);
  if (list == nullptr || list->flcb != nullptr) return;
  release_record(list);
  ammcb->data = nullptr;
}

rctype enter_fileref(const Assignment& a) {
  if (a.ammcb->data == nullptr) a.ammcb->data = new_record<FAMMCB>();
  if (a.ammcb->data == nullptr) return kNoMemory;
  char8 key;
  upper_name(key, a.logicalname);
  FLCB* present = find_in_method(a.ammcb, key);
  auto* fresh = new_record<FLCB>();
  rctype rc = kNoMemory;
  if (fresh != nullptr) {
    fresh->reb = a.reb;
    rc = present != nullptr ? replace_fileref(present, fresh, a) : add_fileref(fresh, a);
    if (rc != kSuccess) release_fileref(fresh);
  }
  drop_empty_list(a.ammcb);
  return rc;
}

rctype find_method(const char* devicetype, rebid reb, AMMCB** ammcb) {
  const YXGCBSTR* yxgcb = global_control_block()->yxgcb;
  const bool local = yxgcb != nullptr && yxgcb->fileassignlocal != 0;
  return local ? yxamscp(devicetype, ammcb, reb) : yxam2am(devicetype, ammcb, reb);
}

// Files that do not count are still open: they lose the fileref and keep what is theirs.
void detach_files(FLCB* flcb) {
  while (FFCB* file = flcb->files) {
    flcb->files = file->sibling;
    file->sibling = nullptr;
    file->flcb = nullptr;
    file->famb = nullptr;
  }
}

void unlink_fileref(AMMCB* ammcb, FLCB* flcb) {
  FLCB** link = &static_cast<FAMMCB*>(ammcb->data)->flcb;
  while (*link != flcb) link = &(*link)->next;
  *link = flcb->next;
  drop_empty_list(ammcb);
}

}  // namespace

rctype yxsasgn(char* logicalname, rebid reb, char* devicetype, char* physicalname,
               int physicalnamelength, ptr hostbag) {
  if (hostbag == nullptr) {
    log_message<message::NoOptions>("SFTP", "SFTP");
    return fail_with_name(kNotAssigned, logicalname);
  }
  Assignment a{logicalname, reb, view(physicalname, physicalnamelength),
               static_cast<FAMB*>(hostbag), nullptr};
  rctype rc = find_method(devicetype, reb, &a.ammcb);
  if (rc == kSuccess) rc = enter_fileref(a);
  if (rc != kSuccess) release_unused_options(a.options, nullptr);
  return rc;
}

rctype yxsdasg(char* logicalname, rebid reb) {
  char8 key;
  upper_name(key, logicalname);
  AMMCB* ammcb = nullptr;
  rctype rc = yxam2am(kMethodName, &ammcb, reb);
  if (rc != kSuccess) return rc;
  FLCB* flcb = find_in_method(ammcb, key);
  if (flcb == nullptr) return fail_with_name(kNotAssigned, logicalname);
  if (flcb->open > 0) return fail_with_name(kStillOpen, logicalname);
  if (flcb->amb != nullptr) {
    rc = yxszl2l(logicalname, nullptr, nullptr, reb);
    if (rc != kSuccess) return rc;
    release_option_block(flcb->amb, flcb);
  }
  unlink_fileref(ammcb, flcb);
  detach_files(flcb);
  release_fileref(flcb);
  return kSuccess;
}
