// Reading one option of a statement into its option block.
#include "sup/src/yxsftp/parse.h"

#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/text.h"

void makesub(XXTOKEN* xxt) {
  const int length = xxt->tokenl;
  wrmksub(2, static_cast<const void*>(&length), static_cast<int>(sizeof length),
          static_cast<const void*>(xxt->token), length + 1);
  yxatokt(xxt);
}

namespace {

FAMB* new_option_block(rebid reb, int env) {
  auto* block = new_record<FAMB>();
  if (block == nullptr) return nullptr;
  block->reb = reb;
  block->flags = env & kBlockKeptByHost;
  block->ds = 1;
  return block;
}

// Ends the option as wrong at its last token. A quiet option leaves the report to the host.
rctype reject(Option& option, rctype code, int scanned, bool quiet) {
  *option.scanned = scanned;
  option.token.atoken->error |= 1;
  if (!quiet) makesub(&option.token);
  return code;
}

rctype accept(Option& option, int scanned) {
  *option.scanned = scanned;
  return yxatokt(&option.token);
}

rctype read_value(Option& option, const Keyword& keyword) {
  const bool quiet = keyword.form == Form::kQuietValue;
  rctype rc = option.next_token();
  if (rc != kSuccess) return rc;
  if (!option.text().starts_with('=')) return reject(option, kOptionSyntax, 1, quiet);
  rc = option.next_token();
  if (rc != kSuccess) return rc;
  rc = keyword.take(option, keyword);
  if (rc == kOptionSyntax) return reject(option, rc, 2, quiet);
  return rc == kSuccess ? accept(option, 3) : rc;
}

}  // namespace

rctype yxspars(char* /*logicalname*/, rebid reb, char* /*accessmethod*/, int env, ptr sourcetrack,
               int* scanned, ptr* hostbag) {
  if (*hostbag == nullptr) *hostbag = new_option_block(reb, env);
  if (*hostbag == nullptr) return kNoMemory;
  if (sourcetrack == nullptr) return kSuccess;

  Option option{static_cast<FAMB*>(*hostbag), reb, env, sourcetrack, scanned, {}};
  rctype rc = yxatoki(&option.token);
  if (rc == kSuccess) rc = option.next_token();
  if (rc != kSuccess) return rc;
  const Keyword* keyword = find_keyword(option);
  if (keyword == nullptr) return reject(option, kUnknownOption, 0, false);
  if (keyword->form != Form::kFlag) return read_value(option, *keyword);
  keyword->take(option, *keyword);
  return accept(option, 1);
}
