// The option block: what the options of one statement said.
#pragma once

#include "host/memory.h"
#include "host/types.h"
#include "host/variables.h"

struct FLCB;

// Bits of FAMB.debug, merged into FFCB.flags.
constexpr int kOptionDebug = 0x1;  // log what the client says
constexpr int kOptionCd = 0x2;
constexpr int kOptionLs = 0x4;
constexpr int kOptionDir = 0x8;
constexpr int kOptionNew = 0x10;  // make a missing remote directory
constexpr int kOptionMget = 0x40;
constexpr int kOptionFileext = 0x200;
constexpr int kOptionLsa = 0x400;
constexpr int kOptionPath = 0x800;
constexpr int kOptionBatch = 0x1000;  // the client runs the user's own batch file

// Bits of FAMB.flags.
constexpr int kBlockKeptByHost = 0x10;  // an open does not release the block
constexpr int kBlockCdSent = 0x20;

// Texts come from the request pool of `reb` and belong to the block; a length of 0 means that the
// option is not given, whatever the pointer.
struct FAMB {
  rebid reb;
  int recfm;  // kRecfm bits; 0: not given
  int openmode;
  long lrecl;  // bytes; 0: not given
  ptr cd;
  int cdl;
  int flags;
  int debug;
  char pass[128];
  char user[128];    // terminated
  char host[128];    // terminated
  char lssuff[512];  // terminated
  u_cei encoding;    // U_DEFAULT_CE: not given
  ptr options;
  int optionsl;
  ptr optionsx;
  int optionsxl;
  ptr path;
  int pathl;
  ptr batchfile;
  int batchfilel;
  long wait;  // milliseconds; 0: not given
  YX_VAR nbyte;
  int ds;  // 0: a stream needs no NBYTE variable
};

constexpr int kLsfileMax = 255;

// The request whose pool holds the block's texts.
rebid request_of(const FAMB* block);

// Releases an option block with its texts; null is no block. Neither `holder`, which may be null,
// nor its open files point at it afterwards.
void release_option_block(FAMB* block, FLCB* holder);

// The same for the options of an assignment or an open that has come to nothing. Both take them
// over whatever they answer, unless the host keeps them.
void release_unused_options(FAMB* block, FLCB* holder);
