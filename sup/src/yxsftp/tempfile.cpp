#include "sup/src/yxsftp/tempfile.h"

#include "sup/src/yxsftp/text.h"

namespace {

constexpr int kInfoWanted = 1;

rctype learn_path(FFCB* ffcb) {
  WX_INFOPARM info = {};
  const wrcode rc = yxrinfo(nullptr, ffcb->templogical, ffcb->reb, kInfoWanted, nullptr, &info);
  if (rc != kSuccess || info.pname == nullptr) return rc;
  ffcb->tempfilel = info.namelen;
  ffcb->tempfile = copy_text(ffcb->reb, view(info.pname, info.namelen));
  return ffcb->tempfile != nullptr ? kSuccess : kNoMemory;
}

bool make_open_parameters(FFCB* ffcb) {
  ffcb->xxopenparm = new_record<WX_OPENPARM>();
  if (ffcb->xxopenparm == nullptr) return false;
  *ffcb->xxopenparm = {
      .openmode = ffcb->openmode,
      .recfm = ffcb->recfm,
      .datalen = ffcb->datalength,
      .hostptr = nullptr,
      .filetype = 0,
      .encoding_default = U_DEFAULT_CE,
      .encoding_override = ffcb->encoding,
  };
  return true;
}

}  // namespace

rctype create_tempfile(FFCB* ffcb) {
  if (!make_open_parameters(ffcb)) return kNoMemory;
  blank_name(ffcb->templogical);
  const wrcode rc = yxrasgn(ffcb->templogical, ffcb->reb, "TEMP    ", nullptr, 0, nullptr);
  if (rc != kSuccess) {
    blank_name(ffcb->templogical);
    return rc;
  }
  upper_name(ffcb->templogical, ffcb->templogical);
  return learn_path(ffcb);
}

rctype open_tempfile(FFCB* ffcb) {
  HOST_FILE* file = nullptr;
  const wrcode rc = yxropen(&file, ffcb->templogical, ffcb->reb, ffcb->xxopenparm);
  if (rc == kSuccess) ffcb->tempfileptr = file;
  return rc;
}

rctype close_tempfile(FFCB* ffcb) {
  if (ffcb->tempfileptr == nullptr) return kSuccess;
  const wrcode rc = yxclose(static_cast<HOST_FILE*>(ffcb->tempfileptr));
  if (rc == kSuccess) ffcb->tempfileptr = nullptr;
  return rc;
}
