// Counted and blank-padded strings. Lengths are in bytes, 0 or more; a null text counts as empty.
// Nothing here allocates or fails; a search that finds nothing answers -1.
#pragma once

#include "host/types.h"

// Blanks to compare with and to copy from; the first eight are an empty name.
inline constexpr tchar _B_ten[10] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};

constexpr int kNoSeparator = -1;

// Puts `nstr` pairs of (const tchar* text, int length) behind each other into `dest`, with the byte
// `sep` between them when it is not negative. `dlen` of 0 or more is the capacity, and what is left
// of it is filled with blanks; a negative `dlen` means -dlen bytes, of which one is the terminating
// zero. What does not fit is cut. Returns the bytes placed, without fill and terminator. The texts
// may overlap `dest`.
int wzstcat(tchar* dest, int dlen, int sep, int nstr, ...);

// Compares with the shorter text padded with blanks. 0: equal; else the 1-based position of the
// first difference, negative when `s1` is the smaller.
int wzstcom(const tchar* s1, int l1, const tchar* s2, int l2);

// Length of a terminated text.
int wzstlen(const tchar* str);

// Offset of the first `tok` in `str`. A negative `tlen` means that `tok` is terminated; an empty
// token is found at 0.
int wzstndx(const tchar* str, int slen, const tchar* tok, int tlen);

// Offset of the first byte `c`.
int wzstpos(const tchar* str, int len, tuchar c);

// Takes the quotes off a quoted token in place and makes one of each doubled quote inside. The
// result is terminated; returns its length.
int wzstrpq(tchar* src, int slen);
