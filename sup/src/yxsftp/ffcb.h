// The file control block: one open file.
#pragma once

#include "host/method.h"
#include "host/records.h"
#include "host/types.h"
#include "host/variables.h"
#include "sup/src/yxsftp/famb.h"
#include "sup/src/yxsftp/flcb.h"

struct SFTP_MGET;

// What the client is asked with: 4095 bytes and a terminating zero.
constexpr int kCommandSize = 4096;
constexpr long kDefaultWait = 1500;

// Texts come from the request pool of `reb` and belong to the block.
struct FFCB {
  FFCB* next;
  char8 logname;  // upper case
  AMMCB* ammcb;
  int openmode;
  int recfm;
  int blocksize;
  long lrecl;
  long maxlrecl;
  int filetype;
  long datalength;
  int flags;  // kOption bits
  char host[128];
  int hostlen;
  char user[128];
  char pass[128];
  FLCB* flcb;       // null once the fileref is deassigned
  FAMB* amb;        // option block of the open, or null
  FAMB* famb;       // option block of the fileref; null once that is gone
  WX_AMVEC* amvec;  // the host's
  taskid task;
  rebid reb;
  ptr lssuff;
  int lssuffl;
  SFTP_MGET* mget;
  ptr mgetp;  // name pool
  SFTP_MGET* mgeth;
  ptr pn;
  int pnl;
  int flag;  // FAMB.flags of `amb`
  u_cei encoding;
  int ds;
  int fileenv;
  ptr options;
  int optionsl;
  ptr optionsx;
  int optionsxl;
  char cmd[kCommandSize];
  int cmdlen;
  ptr tempfileptr;  // HOST_FILE while the temporary file is open
  ptr tempfile;     // its path
  int tempfilel;
  char templogical[8];  // its fileref; blank while there is none
  int stdoutlen;
  int sftpPrompt;
  WX_OPENPARM* xxopenparm;
  ptr member;
  int memberl;
  int TKrc;
  ptr infomem;
  W_INFSTR* infostrp;
  YX_VAR nbyte;
  long wait;  // milliseconds

  // Private.
  FFCB* sibling;   // next open file of the same fileref
  FLCB* counted;   // the fileref whose open count this file raised, or null
  wrcode stopped;  // what every further read answers; 0: there is more to read
  bool ended;      // holds nothing any more, and waits for its close
};

// The file that a pointer of the host stands for; null when there is none, or it has ended.
inline FFCB* live_file(ptr filepointer) {
  auto* ffcb = static_cast<FFCB*>(filepointer);
  return ffcb != nullptr && !ffcb->ended ? ffcb : nullptr;
}

// Its records are the names of a listing.
inline bool is_listing(const FFCB* ffcb) {
  return (ffcb->flags & (kOptionLs | kOptionLsa)) != 0;
}

// Makes the block of a file of `flcb` and enters it among the fileref's files. `options` are those
// of the open, or null, and are taken over. Null when there is no memory.
FFCB* new_file(FLCB* flcb, AMMCB* ammcb, FAMB* options, rebid reb);

// Gives the file its own copies of the fileref's physical and member name.
rctype copy_fileref_names(FFCB* ffcb);

// Takes mode, format and lengths from the open; a negative length is made positive.
void apply_open_parameters(FFCB* ffcb, WX_OPENPARM* openparm);

// Merges the options of the open (`hostbag`, may be null) over those of the fileref, settles record
// format and length, and writes the client's command line. The caller ends the file on failure.
rctype yxshbag(FFCB* ffcb, ptr hostbag);

// Raises the open count of the file's fileref; whatever ends the file lowers it again.
void count_open(FFCB* ffcb);

// Releases a file with everything it holds; its temporary file must be closed. A retired fileref
// goes with its last file.
void release_file(FFCB* ffcb);

// Ends a file after a failure: closes its temporary file and releases it.
void term(FFCB* ffcb);

// The same, but the empty block stays until the host, which does not know yet, closes it.
void end_file(FFCB* ffcb);
