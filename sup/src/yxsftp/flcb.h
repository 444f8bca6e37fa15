// Filerefs: the list on the method block and the control block of one assigned fileref.
#pragma once

#include "host/method.h"
#include "host/toolkit.h"
#include "host/types.h"
#include "sup/src/yxsftp/famb.h"

struct FDCB;
struct FFCB;

// Bits of FLCB.flag.
constexpr int kSessionPending = 0x400;  // no client has been started for this assignment
constexpr int kDirectory = 0x100000;
constexpr int kMemberPending = 0x1;  // with kDirectory, until a first member is opened

constexpr TKMemSize kAnswerBuffer = 16385;

// Texts and buffers come from the request pool of `reb`.
struct FLCB {  // NOLINT(clang-analyzer-optin.performance.Padding): the order is the layout
  FLCB* next;
  char8 logname;
  AMMCB* ammcb;
  ptr pn;  // physical name, terminated
  int pnl;
  ptr cd;  // directory to change to, terminated; null: none
  int cdl;
  FAMB* amb;  // owned; null once the host has released it
  int open;
  rebid reb;
  char user[128];
  char pass[128];
  int flag;
  ptr member;  // file name part of `pn`, terminated; null: none
  int memberl;
  rctype sysrc;
  tchar* termstr;  // ends every command
  int termlen;
  LSProcessp hProcess;
  TKJnlh sftp_jnl;
  TKExtensionh els;
  ptr path;
  int pathl;                // length of the directory part of `pn`
  ptr msgbuffer;            // the client's last answer in upper case, terminated
  ptr msgbuffpreservecase;  // the same as it came
  TKMemSize buflen;
  ptr sftp_server;  // client program
  int sftp_serverl;

  // Private.
  FFCB* files;        // open files, linked by FFCB.sibling
  FDCB* directories;  // open directories, linked by FDCB.sibling
  bool retired;       // replaced by a reassignment, in no list; lives until nothing of it is open
  bool astray;  // the client's start failed: it stands in no directory of ours, nobody uses it
};

// The list of assigned filerefs, newest first; AMMCB.data. Lives while it is not empty.
struct FAMMCB {
  FLCB* flcb;
};

inline constexpr char kMethodName[] = "QENXBAMS";

// The fileref `key`, in upper case, in the list of one method block; null when it is not there.
FLCB* find_in_method(const AMMCB* ammcb, const char* key);

// Looks a logical name up, in any case: in the list of the module's own method block, then in that
// of the block the host associates with the name. Stores what it found through `ammcbp` and
// `flcbp`, which may be null; a non-null `*ammcbp` is the only block searched. kNotAssigned, with
// the name attached, when no list has it.
rctype yxszl2l(char* logicalname, AMMCB** ammcbp, FLCB** flcbp, rebid reb);

inline bool is_directory(const FLCB* flcb) {
  return flcb != nullptr && (flcb->flag & kDirectory) != 0;
}
inline bool has_option(const FLCB* flcb, int bit) {
  return flcb->amb != nullptr && (flcb->amb->debug & bit) != 0;
}

// Ends the client of a fileref, if there is one, with its journal and launch service. The next open
// starts another.
void end_client(FLCB* flcb);

// Releases a fileref that is in no list: texts, client and block. The option block is not touched.
void release_fileref(FLCB* flcb);

// Releases a retired fileref, options included, if nothing of it is open.
void release_unused(FLCB* flcb);
