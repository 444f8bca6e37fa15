// Records that the host and the method hand each other about files.
#pragma once

#include "types.h"

// Bits of WX_OPENPARM.openmode.
constexpr int kOpenInput = 0x1;
constexpr int kOpenOutput = 0x2;
constexpr int kOpenEncoded = 0x800000;  // encoding_override is to be applied

// Bits of a record format.
constexpr int kRecfmStream = 0x2;
constexpr int kRecfmFixed = 0x8;
constexpr int kRecfmVariable = 0x20;

struct WX_OPENPARM {
  int openmode;
  int recfm;
  long datalen;  // logical record length in bytes
  ptr hostptr;   // option block given with the open, or null
  int filetype;
  u_cei encoding_default;
  u_cei encoding_override;
};

// Bits of WX_INFOPARM.flag that the module sets.
constexpr long kInfoDirectory = 0x2;
constexpr long kInfoFile = 0x4;

struct WX_INFOPARM {
  tchar* pname;  // physical name, owned by the method
  int namelen;
  int recfm;
  long datalen;
  char8 devtype;
  double filesize;  // bytes
  long poslen;
  long flag;
  int openmode;
  u_cei encoding;
  double moddtme;
  int bomsize;
  tchar mimetype[512];
  int mimetypel;
  void* pad1;
  void* pad2;
  void* pad3;
  void* pad4;
};

// One labelled line of an information list.
struct W_PAIRS {
  tchar* nameptr;
  int namelen;
  tchar* valueptr;
  int valuelen;
};

// One level of an information list, allocated with room for `pairnum` pairs.
struct W_INFSTR {
  W_INFSTR* nextinfo;
  tchar* lvldesc;
  int lvldlen;
  long pairnum;
  long pairlen;
  W_PAIRS wpairs[1];
};

using AmReadFn = wrcode(ptr file, ptr* record, long* length, tchar* cc);
using AmWriteFn = wrcode(ptr file, ptr record, long length, tchar cc);
using AmUnsupportedFn = rctype(...);

// Record-I/O vector: lets the holder call record routines without going through a method table.
// The routines take `amfcb` as their first argument. Made from a raw block: `unused` is not set.
// The host releases it to the host heap.
struct WX_AMVEC {
  ptr amfcb;
  AmReadFn* amfpread;
  AmWriteFn* amfpwrite;
  AmUnsupportedFn* amfpnote;
  AmUnsupportedFn* amfppoint;
  AmUnsupportedFn* amfpb2pos;
  AmUnsupportedFn* amfpr2pos;
  wrcode (*unused[12])();
};

struct HOST_FILE;

// Routines of a filter in front of a method, for instance a conversion of encodings.
struct HOST_FILTER {
  wrcode (*read)(HOST_FILE* file, ptr* record, long* length, tchar* cc);
  wrcode (*write)(HOST_FILE* file, ptr record, long length, tchar cc);
};

// What `yxropen` hands back. Its owner calls the record routines directly: those of `filter` with
// the file itself when there is a filter, else those of `routines` with `filepointer`. A read
// stores a pointer that stays valid until the next call on the file.
struct HOST_FILE {
  ptr filepointer;
  const WX_AMVEC* routines;
  const HOST_FILTER* filter;  // may be null
};
