// The parser's inside: an option being read, and the keywords.
#pragma once

#include <string_view>

#include "dsup/src/services.h"
#include "sup/src/yxsftp/famb.h"

struct Option {
  FAMB* block;
  rebid reb;
  int env;
  ptr source;
  int* scanned;
  XXTOKEN token;

  rctype next_token() { return yxatok(env, source, &token); }
  std::string_view text() const {
    return {token.token, static_cast<std::size_t>(token.token != nullptr ? token.tokenl : 0)};
  }
};

enum class Form : unsigned char {
  kFlag,
  kValue,
  kQuietValue,  // failures name no token
  kNbyte,       // a value, where the host allows it
};

struct Keyword {
  std::string_view name;
  Form form;
  int bits;  // for FAMB.debug
  // Records the option in its block. kOptionSyntax: the value is wrong.
  rctype (*take)(Option& option, const Keyword& keyword);
};

// The keyword that the current token names, or null.
const Keyword* find_keyword(const Option& option);

// Attaches the current token to the failure and ends the scan.
void makesub(XXTOKEN* xxt);
