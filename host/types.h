// The scalar types both sides of the boundary use.
#pragma once

using ptr = void*;
using tchar = char;  // one byte of text in the session encoding
using tuchar = unsigned char;
using char8 = char[8];  // a logical or method name: blank-padded, never terminated

// Result of the module's entries and routines. 0 is success; see codes.h.
using rctype = int;
// Result of a host service. 0 is success.
using wrcode = int;

// Encoding identifier of the host.
enum NLScei : int {
  U_INVALID_CE = -1,
  U_DEFAULT_CE = 0,
};
using u_cei = NLScei;
