// Settling what a file is opened with: options, record format and length, command line.
#include "host/options.h"
#include "sup/src/yxsftp/ffcb.h"
#include "sup/src/yxsftp/report.h"
#include "sup/src/yxsftp/text.h"

namespace {

constexpr long kDefaultRecordLength = 256;

// The value of a field: of the open's options when they give it, else of the fileref's.
template <class T>
T merged(const FAMB* open, const FAMB* fileref, T FAMB::*field, T otherwise) {
  if (open != nullptr && open->*field != T{}) return open->*field;
  if (fileref != nullptr && fileref->*field != T{}) return fileref->*field;
  return otherwise;
}

// The block that gives a terminated text, or null.
template <std::size_t Size>
const FAMB* giver_of(const FAMB* open, const FAMB* fileref, char (FAMB::*field)[Size]) {
  if (open != nullptr && (open->*field)[0] != '\0') return open;
  if (fileref != nullptr && (fileref->*field)[0] != '\0') return fileref;
  return nullptr;
}

long default_record_length(int recfm) {
  long length = kDefaultRecordLength;
  unsigned origin = 0;
  yyrn6gf(kHostOptionRecordLength, 0, &length, &origin, current_task()->context);
  const bool fixed = (recfm & kRecfmFixed) != 0;
  return fixed && (origin & kOriginMask) == kOriginSystem ? kDefaultRecordLength : length;
}

void merge_format(FFCB* ffcb, const FAMB* open, const FAMB* fileref) {
  const int preset = ffcb->recfm != 0 ? ffcb->recfm : kRecfmVariable;
  ffcb->recfm = merged(open, fileref, &FAMB::recfm, preset);
  ffcb->lrecl = merged(open, fileref, &FAMB::lrecl, 0L);
  if (ffcb->lrecl == 0) ffcb->lrecl = default_record_length(ffcb->recfm);
  ffcb->maxlrecl = ffcb->lrecl;
  ffcb->datalength = ffcb->lrecl;
}

void merge_login(FFCB* ffcb, const FAMB* open, const FAMB* fileref) {
  const FAMB* user = giver_of(open, fileref, &FAMB::user);
  if (user != nullptr) std::memcpy(ffcb->user, user->user, sizeof ffcb->user);
  const FAMB* host = giver_of(open, fileref, &FAMB::host);
  if (host != nullptr) std::memcpy(ffcb->host, host->host, sizeof ffcb->host);
}

bool copy_option(FFCB* ffcb, std::string_view text, ptr* copy, int* length) {
  *length = static_cast<int>(text.size());
  *copy = text.empty() ? nullptr : copy_text(ffcb->reb, text);
  return text.empty() || *copy != nullptr;
}

// A text that the open gave and then emptied still hides the fileref's.
template <ptr FAMB::*Text, int FAMB::*Length>
std::string_view merged_text(const FAMB* open, const FAMB* fileref) {
  if (open != nullptr && open->*Text != nullptr) return view(open->*Text, open->*Length);
  if (fileref != nullptr) return view(fileref->*Text, fileref->*Length);
  return {};
}

bool merge_texts(FFCB* ffcb, const FAMB* open, const FAMB* fileref) {
  const FAMB* lister = giver_of(open, fileref, &FAMB::lssuff);
  const std::string_view lssuff = lister != nullptr ? view(lister->lssuff) : std::string_view();
  return copy_option(ffcb, merged_text<&FAMB::options, &FAMB::optionsl>(open, fileref),
                     &ffcb->options, &ffcb->optionsl) &&
         copy_option(ffcb, merged_text<&FAMB::optionsx, &FAMB::optionsxl>(open, fileref),
                     &ffcb->optionsx, &ffcb->optionsxl) &&
         copy_option(ffcb, lssuff, &ffcb->lssuff, &ffcb->lssuffl);
}

void merge_switches(FFCB* ffcb, const FAMB* open, const FAMB* fileref) {
  if (open != nullptr) ffcb->nbyte = open->nbyte;
  ffcb->wait = merged(open, fileref, &FAMB::wait, ffcb->wait);
  if (open != nullptr && open->debug != 0) {
    ffcb->flags = open->debug;
  } else if (fileref != nullptr) {
    ffcb->flags |= fileref->debug;
  }
  ffcb->encoding = merged(open, fileref, &FAMB::encoding, U_DEFAULT_CE);
  if (ffcb->encoding != U_DEFAULT_CE) ffcb->openmode |= kOpenEncoded;
  const bool no_nbyte =
      (open != nullptr && open->ds == 0) || (fileref != nullptr && fileref->ds == 0);
  ffcb->ds = no_nbyte ? 0 : 1;
}

// Empty pieces keep the blanks around them. The length counts the terminating zero.
rctype write_command_line(FFCB* ffcb) {
  const FLCB* flcb = ffcb->flcb;
  const FAMB* fileref = flcb->amb;
  const bool batch = fileref != nullptr && fileref->batchfilel != 0;
  const std::string_view program = view(flcb->sftp_server, flcb->sftp_serverl);
  const std::string_view options = view(ffcb->options, ffcb->optionsl);
  const std::string_view optionsx = view(ffcb->optionsx, ffcb->optionsxl);
  const std::string_view before = batch ? " -b \"" : "";
  const std::string_view file =
      batch ? view(fileref->batchfile, fileref->batchfilel) : std::string_view();
  const std::string_view after = batch ? "\"" : "";
  const std::string_view user = view(ffcb->user);
  const std::string_view at = user.empty() ? "" : "@";
  const std::string_view host = view(ffcb->host);

  int length = 0;
  if (!join_whole(ffcb->cmd, kCommandSize, &length, program, " ", options, " ", optionsx, before,
                  file, after, " ", user, at, host)) {
    return fail_because<message::ClientNotStarted>(
        "The client's command line is longer than 4095 bytes: shorten the options.");
  }
  ffcb->cmdlen = length + 1;
  return kSuccess;
}

}  // namespace

rctype yxshbag(FFCB* ffcb, ptr hostbag) {
  auto* open = static_cast<FAMB*>(hostbag);
  const FAMB* fileref = ffcb->famb;
  ffcb->amb = open;
  ffcb->flag = open != nullptr ? open->flags : 0;
  merge_switches(ffcb, open, fileref);
  merge_format(ffcb, open, fileref);
  merge_login(ffcb, open, fileref);
  if (!merge_texts(ffcb, open, fileref)) return kNoMemory;
  return write_command_line(ffcb);
}
