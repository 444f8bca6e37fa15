// An access method as the host sees it: its control block and its table of entries.
#pragma once

#include "memory.h"
#include "records.h"
#include "types.h"

template <class Fn>
struct AMENT_SLOT {
  long flags;
  Fn* entryp;
};

// The method table. Logical, method and type names are eight blank-padded characters; lengths are
// in bytes. A slot whose entry is null is not used. `AmUnsupportedFn` slots answer kNotSupported.
struct AMENT {
  // Takes the option block `hostbag` over. After a failure it is released, unless it was made with
  // kParseHostKeepsBlock: then it is the host's as before. A failure leaves an earlier assignment
  // of the name as it was. Null `hostbag`: refused.
  AMENT_SLOT<rctype(char* logicalname, rebid reb, char* devicetype, char* physicalname,
                    int physicalnamelength, ptr hostbag)>
      amasgn;
  AMENT_SLOT<rctype(char* logicalname, rebid reb)> amdasgn;
  // 0, or kNotAssigned.
  AMENT_SLOT<rctype(char* logicalname, rebid reb)> amexstl;
  // 0, or kDoesNotExist: whether the remote file is there, in any letter case.
  AMENT_SLOT<rctype(char* logicalname, rebid reb)> amexstp;
  AMENT_SLOT<AmUnsupportedFn> ampname;
  AMENT_SLOT<AmUnsupportedFn> amname;
  AMENT_SLOT<AmUnsupportedFn> amnext;
  AMENT_SLOT<rctype(char* logicalname)> amvalid;
  AMENT_SLOT<rctype(ptr filepointer, char* logicalname, rebid reb, int flags, ptr hostptr,
                    WX_INFOPARM* infoparm)>
      aminfo;
  // The list points into the file, and is valid until the file is closed, which releases it.
  AMENT_SLOT<rctype(ptr filepointer, W_INFSTR** infostrp)> aminfsy;
  AMENT_SLOT<rctype(ptr filepointer, W_INFSTR* infostr)> aminfsr;
  // Takes the option block `openparm->hostptr` over, whatever it answers, unless the block was made
  // with kParseHostKeepsBlock. Stores null through `filepointer` when it fails.
  AMENT_SLOT<rctype(ptr* filepointer, char* logicalname, rebid reb, WX_OPENPARM* openparm)> amopen;
  AMENT_SLOT<AmUnsupportedFn> amnote;
  AMENT_SLOT<AmUnsupportedFn> ampoint;
  AMENT_SLOT<AmUnsupportedFn> ampos2b;
  AMENT_SLOT<AmUnsupportedFn> amb2pos;
  AMENT_SLOT<AmUnsupportedFn> ampos2r;
  AMENT_SLOT<AmUnsupportedFn> amr2pos;
  AMENT_SLOT<AmReadFn> amread;
  AMENT_SLOT<AmWriteFn> amwrite;
  AMENT_SLOT<AmUnsupportedFn> amflush;
  AMENT_SLOT<rctype(ptr filepointer)> amclose;
  AMENT_SLOT<rctype(ptr dirptr)> amdclos;
  // Only amdinfr releases the list of a directory.
  AMENT_SLOT<rctype(ptr filepointer, W_INFSTR** infostrp)> amdinfs;
  AMENT_SLOT<rctype(ptr filepointer, W_INFSTR* infostr)> amdinfr;
  // Stores the next member's name, of at most 512 bytes, and its type. The host hands `*listptr`
  // back as it got it. kEndOfMembers behind the last; the call after that begins anew. `infoparm`
  // is needed only with kFindKind.
  AMENT_SLOT<rctype(ptr* listptr, ptr dirptr, tchar* memname, int* memlen, char* filetype, int flag,
                    WX_INFOPARM* infoparm)>
      amdnext;
  AMENT_SLOT<rctype(ptr* dirptr, char* logicalname, rebid reb)> amdopen;
  AMENT_SLOT<rctype(ptr filepointer)> ammclos;
  // 0, or kDoesNotExist with the length and the name attached.
  AMENT_SLOT<rctype(ptr dirptr, char* memname, int memlen, char* memtype)> ammexst;
  // Treats `openparm->hostptr` and `fileptr` as amopen does. `ftype` may be null.
  AMENT_SLOT<rctype(ptr* fileptr, ptr dirptr, tchar* memname, int memnamel, char* ftype,
                    WX_OPENPARM* openparm)>
      ammopen;
  AMENT_SLOT<rctype(char* logicalname, rebid reb, char* accessmethod, int env, ptr sourcetrack,
                    int* scanned, ptr* hostbag)>
      amparse;
  AMENT_SLOT<AmUnsupportedFn> amasgnl;
  AMENT_SLOT<AmUnsupportedFn> amdelet;
  AMENT_SLOT<AmUnsupportedFn> amhb2pb;
  AMENT_SLOT<AmUnsupportedFn> ampb2hb;
  AMENT_SLOT<rctype(ptr filepointer, WX_AMVEC** amvecptr)> amamvec;
  AMENT_SLOT<rctype(char* logicalname, rebid reb, ptr hostbag)> amhbfr;
  AMENT_SLOT<AmUnsupportedFn> ammkdir;
  AMENT_SLOT<AmUnsupportedFn> amrterm;
  AMENT_SLOT<AmUnsupportedFn> expan[6];
  AMENT_SLOT<AmUnsupportedFn> amhbf2;
};
static_assert(sizeof(AMENT) == 46 * sizeof(AMENT_SLOT<AmUnsupportedFn>));

// Bits of amparse's `env`.
constexpr int kParseNbyteAllowed = 0x2;
constexpr int kParseHostKeepsBlock = 0x10;

// Bits of amdnext's `flag`.
constexpr int kSplitType = 0x2;  // what follows the first dot is the type, and no part of the name
constexpr int kFindKind = 0x8;   // fill `infoparm`, and find out whether it is a directory
constexpr int kCopyType = 0x20;  // what follows the first dot is the type; the name stays whole

// Method control block, one a process. The host keeps `prev`, `next`, `usecount` and `idb`.
struct AMMCB {
  AMMCB* prev;
  AMMCB* next;
  char tag[4];  // "AMEC"
  long flags;
  char8 method;
  AMENT* ament;
  int usecount;
  ptr idb;
  ptr data;  // the method's own
};
