// Opening a directory, and going through its members.
#include "sup/src/yxsftp/directory.h"

#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/listing.h"
#include "sup/src/yxsftp/session.h"

namespace {

constexpr int kTypeLength = 8;

void end_enumeration(FDCB* fdcb) {
  if (fdcb->ffcb != nullptr) term(fdcb->ffcb);
  fdcb->ffcb = nullptr;
}

rctype list_members(FDCB* fdcb) {
  end_enumeration(fdcb);
  FFCB* ffcb = nullptr;
  rctype rc = makeffcb(&ffcb, fdcb, fdcb->logname, fdcb->reb);
  if (rc == kSuccess) rc = dols(ffcb);
  if (rc == kSuccess) fdcb->flag &= ~kRestart;
  return rc;
}

rctype leave_member(FFCB* ffcb, MessageText member) {
  rctype rc = ask(ffcb, member, "cd ..");
  if (rc == kSuccess && cannot_enter(ffcb)) rc = fail<message::RemoteNameFailed>(member);
  if (rc == kSuccess) return rc;
  // A client that is in the wrong directory would fetch and send the wrong files.
  end_client(ffcb->flcb);
  return rc;
}

// A directory is what the client can enter.
rctype find_kind(FFCB* ffcb, std::string_view member, long* kinds) {
  const PrintableName name(member);
  const rctype rc = ask(ffcb, name.text, "cd \"", member, "\"");
  if (rc != kSuccess) return rc;
  const bool is_file = cannot_enter(ffcb);
  *kinds |= is_file ? kInfoFile : kInfoDirectory;
  return is_file ? kSuccess : leave_member(ffcb, name.text);
}

rctype describe(FFCB* ffcb, SFTP_MGET* member, WX_INFOPARM* infoparm) {
  if (infoparm == nullptr) return kNullPointer;
  copy_name(infoparm->devtype, "SFTP    ");
  infoparm->namelen = member->pnl;
  if (member->pnl != 0) infoparm->pname = member->pn;
  return find_kind(ffcb, name_of(member), &infoparm->flag);
}

void find_type(std::string_view member, int flag, char* type, int* memlen) {
  const int dot = wzstpos(member.data(), *memlen, '.');
  if ((flag & (kSplitType | kCopyType)) == 0 || dot <= 0) return;
  join(type, kTypeLength, view(member.data() + dot + 1, *memlen - dot - 1));
  if ((flag & kSplitType) != 0) *memlen = dot;
}

void link_directory(FDCB* fdcb, FLCB* flcb) {
  fdcb->flcb = flcb;
  fdcb->sibling = flcb->directories;
  flcb->directories = fdcb;
  fdcb->counted = flcb;
  ++flcb->open;
}

void unlink_directory(FDCB* fdcb) {
  --fdcb->counted->open;
  FDCB** link = &fdcb->flcb->directories;
  while (*link != fdcb) link = &(*link)->sibling;
  *link = fdcb->sibling;
  release_unused(fdcb->flcb);
}

}  // namespace

rctype makeffcb(FFCB** fileptr, FDCB* dirptr, char* logicalname, rebid reb) {
  *fileptr = nullptr;
  AMMCB* ammcb = dirptr != nullptr ? dirptr->ammcb : nullptr;
  FLCB* flcb = dirptr != nullptr ? dirptr->flcb : nullptr;
  rctype rc = flcb != nullptr ? kSuccess : yxszl2l(logicalname, &ammcb, &flcb, reb);
  if (rc != kSuccess) return rc;
  FFCB* ffcb = new_file(flcb, ammcb, nullptr, reb);
  if (ffcb == nullptr) return kNoMemory;
  rc = copy_fileref_names(ffcb);
  if (rc == kSuccess) rc = yxshbag(ffcb, nullptr);
  if (rc == kSuccess) rc = start_session(ffcb, reb);
  if (rc != kSuccess) {
    term(ffcb);
    return rc;
  }
  *fileptr = ffcb;
  if (dirptr != nullptr) dirptr->ffcb = ffcb;
  return kSuccess;
}

rctype yxsdopn(ptr* dirptr, char* logicalname, rebid reb) {
  *dirptr = nullptr;
  AMMCB* ammcb = nullptr;
  FLCB* flcb = nullptr;
  const rctype rc = yxszl2l(logicalname, &ammcb, &flcb, reb);
  if (rc != kSuccess) return rc;
  if (!is_directory(flcb)) {
    log_message<message::NotADirectory>("SFTP");
    return kWrongUse;
  }
  auto* fdcb = new_record<FDCB>();
  if (fdcb == nullptr) return kNoMemory;
  upper_name(fdcb->logname, flcb->logname);
  fdcb->flag = kRestart;
  fdcb->ammcb = ammcb;
  fdcb->fammcb = static_cast<FAMMCB*>(ammcb->data);
  fdcb->reb = reb;
  link_directory(fdcb, flcb);
  *dirptr = fdcb;
  return kSuccess;
}

rctype yxsdnxt(ptr* listptr, ptr dirptr, tchar* memname, int* memlen, char* filetype, int flag,
               WX_INFOPARM* infoparm) {
  if (dirptr == nullptr) return kNullPointer;
  auto* fdcb = static_cast<FDCB*>(dirptr);
  if ((fdcb->flag & kRestart) != 0) {
    const rctype rc = list_members(fdcb);
    if (rc != kSuccess) return rc;
    *listptr = fdcb->ffcb->mgeth;
  }
  auto* member = static_cast<SFTP_MGET*>(*listptr);
  if (member == nullptr) {
    end_enumeration(fdcb);
    fdcb->flag |= kRestart;
    return kEndOfMembers;
  }
  *listptr = member->next;
  *memlen = member->pnl;
  std::memcpy(memname, member->pn, static_cast<std::size_t>(member->pnl));
  blank_name(filetype);
  if ((flag & kFindKind) != 0) {
    const rctype rc = describe(fdcb->ffcb, member, infoparm);
    if (rc != kSuccess) return rc;
  }
  find_type(name_of(member), flag, filetype, memlen);
  return kSuccess;
}

rctype yxsdcls(ptr dirptr) {
  if (dirptr == nullptr) return kNullPointer;
  auto* fdcb = static_cast<FDCB*>(dirptr);
  end_enumeration(fdcb);
  unlink_directory(fdcb);
  release_record(fdcb);
  return kSuccess;
}
