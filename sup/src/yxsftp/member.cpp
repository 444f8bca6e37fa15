// The members of a directory as files.
#include "sup/src/yxsftp/directory.h"
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/session.h"
#include "sup/src/yxsftp/tempfile.h"

namespace {

// The member's type as it is written behind its name, or nothing.
std::string_view extension(const FFCB* ffcb, std::string_view name, const char* type) {
  const bool has_one = wzstpos(name.data(), static_cast<int>(name.size()), '.') > 0;
  if ((ffcb->flags & kOptionFileext) == 0 || type == nullptr || has_one) return {};
  const int length = wzstpos(type, kNameLength, ' ');
  return view(type, length < 0 ? kNameLength : length);
}

rctype set_member(FFCB* ffcb, std::string_view name, const char* type) {
  const std::string_view ending = extension(ffcb, name, type);
  const std::string_view dot = ending.data() != nullptr ? "." : "";
  const int length = static_cast<int>(name.size() + dot.size() + ending.size());
  if (length == 0) return kSuccess;
  auto* member = static_cast<tchar*>(new_buffer(ffcb->reb, length + 1L));
  if (member == nullptr) return kNoMemory;
  ffcb->memberl = join(member, -(length + 1), name, dot, ending);
  ffcb->member = member;
  return kSuccess;
}

rctype open_copy(FFCB* ffcb) {
  const bool input = (ffcb->openmode & kOpenInput) != 0;
  if (!input && (ffcb->openmode & kOpenOutput) == 0) return kSuccess;
  rctype rc = create_tempfile(ffcb);
  if (rc == kSuccess && input) rc = getfile(ffcb);
  return rc == kSuccess ? open_tempfile(ffcb) : rc;
}

rctype open_member(FFCB* ffcb, std::string_view name, const char* type, WX_OPENPARM* openparm) {
  apply_open_parameters(ffcb, openparm);
  rctype rc = yxshbag(ffcb, openparm->hostptr);
  if (rc != kSuccess) return rc;
  openparm->encoding_override = U_DEFAULT_CE;
  // A member is one file in a directory, whatever else the options ask for.
  ffcb->flags &= ~(kOptionLs | kOptionLsa | kOptionMget);
  ffcb->flags |= kOptionDir;
  rc = start_session(ffcb, ffcb->reb);
  if (rc == kSuccess) rc = set_member(ffcb, name, type);
  if (rc == kSuccess) rc = open_copy(ffcb);
  if (rc != kSuccess) return rc;
  count_open(ffcb);
  ffcb->flcb->flag &= ~kMemberPending;
  return kSuccess;
}

}  // namespace

rctype yxsmopn(ptr* fileptr, ptr dirptr, tchar* memname, int memnamel, char* ftype,
               WX_OPENPARM* openparm) {
  *fileptr = nullptr;
  const auto* fdcb = static_cast<const FDCB*>(dirptr);
  auto* options = static_cast<FAMB*>(openparm->hostptr);
  if (fdcb == nullptr || fdcb->flcb == nullptr) {
    release_unused_options(options, nullptr);
    return kNullPointer;
  }
  FFCB* ffcb = new_file(fdcb->flcb, fdcb->ammcb, options, fdcb->flcb->reb);
  if (ffcb == nullptr) return kNoMemory;
  const rctype rc = open_member(ffcb, view(memname, memnamel), ftype, openparm);
  if (rc != kSuccess) {
    term(ffcb);
    return rc;
  }
  *fileptr = ffcb;
  return kSuccess;
}

// A member exists when it can be fetched.
rctype yxsmexp(ptr dirptr, char* memname, int memlen, char* memtype) {
  WX_OPENPARM openparm = {};
  openparm.openmode = kOpenInput;
  ptr file = nullptr;
  if (yxsmopn(&file, dirptr, memname, memlen, memtype, &openparm) != kSuccess) {
    wrmksub(2, static_cast<const void*>(&memlen), 4, static_cast<const void*>(memname), memlen);
    return kDoesNotExist;
  }
  auto* ffcb = static_cast<FFCB*>(file);
  if (ffcb->wait > 0) pause_for_output(ffcb);
  if (yxsclos(ffcb) != kSuccess) term(ffcb);
  return kSuccess;
}
