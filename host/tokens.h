// The option tokenizer's records.
#pragma once

#include "types.h"

constexpr short kTokenOther = 0;
constexpr short kTokenName = 2;
constexpr short kTokenQuoted = 3;
constexpr short kTokenNumber = 4;

// The host's own record of a token.
struct TOKEN {
  tchar* original;  // the text as the user wrote it; of what is not quoted `XXTOKEN.tokenl` bytes
  int error;        // bit 0: this token is in error
};

// Token cursor, filled by `yxatok`. Its texts live as long as the option text being scanned.
struct XXTOKEN {
  short type;
  short subtype;
  char* token;  // normal form: names in upper case, quoted strings with their quotes
  short tokenl;
  short tokena;
  TOKEN* atoken;
};
