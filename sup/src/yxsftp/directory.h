// Directories: filerefs assigned with DIR, open to have their members listed and opened.
#pragma once

#include "sup/src/yxsftp/ffcb.h"

struct FDCB {
  FDCB* next;
  char8 logname;  // upper case
  FLCB* flcb;
  AMMCB* ammcb;
  FAMMCB* fammcb;
  FFCB*
      ffcb;  // what the members are listed through, owned; null before the first and after the last
  rebid reb;
  int flag;

  // Private.
  FDCB* sibling;  // next open directory of the same fileref
  FLCB* counted;  // the fileref whose open count this directory raised
};

// Bits of FDCB.flag.
constexpr int kRestart = 0x1;  // the next member asked for is the first

// Makes a file, ready for a listing, of a directory or, when that is null, of the fileref of that
// name, with a client running. The directory owns its file.
rctype makeffcb(FFCB** fileptr, FDCB* dirptr, char* logicalname, rebid reb);
