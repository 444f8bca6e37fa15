// The keywords of the method and what each records.
#include "sup/src/yxsftp/nbyte.h"
#include "sup/src/yxsftp/parse.h"
#include "sup/src/yxsftp/report.h"
#include "sup/src/yxsftp/text.h"

namespace {

constexpr std::size_t kEncodingMax = 20;
constexpr std::string_view kBatchArgument = "-b ";

// The value token without its first and last character and with doubled quotes undone.
class Unquoted {
 public:
  explicit Unquoted(const Option& option)
      : reb_(option.reb), text_(copy_text(option.reb, option.text())) {
    if (text_ != nullptr) wzstrpq(text_, option.token.tokenl);
  }
  ~Unquoted() { release_buffer(reb_, text_); }
  Unquoted(const Unquoted&) = delete;
  Unquoted& operator=(const Unquoted&) = delete;

  bool no_memory() const { return text_ == nullptr; }
  std::string_view text() const { return view(text_); }

 private:
  rebid reb_;
  tchar* text_;
};

// An empty text only ends the use of an earlier one.
template <ptr FAMB::*Text, int FAMB::*Length>
rctype keep_text(FAMB* block, std::string_view text) {
  if (!text.empty()) {
    const rebid reb = request_of(block);
    tchar* copy = copy_text(reb, text);
    if (copy == nullptr) return kNoMemory;
    release_buffer(reb, block->*Text);
    block->*Text = copy;
  }
  block->*Length = static_cast<int>(text.size());
  return kSuccess;
}

template <std::size_t Size>
void fill_field(char (&field)[Size], std::string_view text) {
  std::memset(field, 0, Size);
  std::memcpy(field, text.data(), text.size());
}

rctype take_flag(Option& option, const Keyword& keyword) {
  option.block->debug |= keyword.bits;
  return kSuccess;
}

// LSA wins over LS, in either order.
rctype take_lsa(Option& option, const Keyword& keyword) {
  if ((option.block->debug & kOptionLs) != 0) log_message<message::LsWithLsa>();
  option.block->debug &= ~kOptionLs;
  return take_flag(option, keyword);
}

rctype take_ls(Option& option, const Keyword& keyword) {
  if ((option.block->debug & kOptionLsa) == 0) return take_flag(option, keyword);
  log_message<message::LsWithLsa>();
  return kSuccess;
}

rctype take_nonbyte(Option& option, const Keyword& /*keyword*/) {
  option.block->ds = 0;
  return kSuccess;
}

template <long FAMB::*Number>
rctype take_number(Option& option, const Keyword& /*keyword*/) {
  if (option.token.type != kTokenNumber) return kOptionSyntax;
  int used = 0;
  long value = 0;
  if (wzrlchr(option.token.token, option.token.tokenl, 0, &used, &value) != 0) {
    return kOptionSyntax;
  }
  option.block->*Number = value;
  return kSuccess;
}

int format_bit(char letter) {
  switch (letter) {
    case 'F':
      return kRecfmFixed;
    case 'V':
      return kRecfmVariable;
    case 'S':
      return kRecfmStream;
    default:
      return 0;
  }
}

rctype take_recfm(Option& option, const Keyword& /*keyword*/) {
  if (option.token.type != kTokenName) return kOptionSyntax;
  const int bit = format_bit(option.token.token[0]);
  option.block->recfm |= bit;
  return bit != 0 ? kSuccess : kOptionSyntax;
}

template <char (FAMB::*Field)[128]>
rctype take_login(Option& option, const Keyword& /*keyword*/) {
  const Unquoted unquoted(option);
  if (unquoted.no_memory()) return kNoMemory;
  const std::string_view text = option.token.type == kTokenQuoted
                                    ? unquoted.text()
                                    : view(option.token.atoken->original, option.token.tokenl);
  if (text.size() >= sizeof(option.block->*Field)) return kOptionSyntax;
  fill_field(option.block->*Field, text);
  return kSuccess;
}

template <ptr FAMB::*Text, int FAMB::*Length>
rctype take_text(Option& option, const Keyword& keyword) {
  const Unquoted unquoted(option);
  if (unquoted.no_memory()) return kNoMemory;
  const rctype rc = keep_text<Text, Length>(option.block, unquoted.text());
  if (rc == kSuccess) option.block->debug |= keyword.bits;
  return rc;
}

template <ptr FAMB::*Text, int FAMB::*Length>
rctype take_client_options(Option& option, const Keyword& keyword) {
  if (option.token.type != kTokenQuoted) return kOptionSyntax;
  const bool batch = contains(option.text(), kBatchArgument);
  const rctype rc = take_text<Text, Length>(option, keyword);
  if (rc == kSuccess && batch) option.block->debug |= kOptionBatch;
  return rc;
}

rctype take_secret_options(Option& option, const Keyword& keyword) {
  yhqblot(option.reb, option.token.atoken);
  return take_client_options<&FAMB::optionsx, &FAMB::optionsxl>(option, keyword);
}

rctype take_lsfile(Option& option, const Keyword& /*keyword*/) {
  const Unquoted unquoted(option);
  if (unquoted.no_memory()) return kNoMemory;
  const std::string_view text = unquoted.text();
  const int length = std::min(static_cast<int>(text.size()), kLsfileMax);
  fill_field(option.block->lssuff, view(text.data(), length));
  return kSuccess;
}

bool find_encoding(const Option& option, u_cei* encoding) {
  const bool quoted = option.token.type == kTokenQuoted;
  const std::string_view text = option.text();
  if (text.size() > kEncodingMax + (quoted ? 2 : 0)) return false;
  tchar name[kEncodingMax + 2];
  std::memcpy(name, text.data(), text.size());
  const int length = quoted ? wzstrpq(name, option.token.tokenl) : option.token.tokenl;
  return wztxcei(0, name, length, encoding) == 0;
}

rctype take_encoding(Option& option, const Keyword& /*keyword*/) {
  if (option.token.type != kTokenName && option.token.type != kTokenQuoted) return kOptionSyntax;
  u_cei encoding = U_DEFAULT_CE;
  const bool known = find_encoding(option, &encoding);
  option.block->encoding = known ? encoding : U_DEFAULT_CE;
  return known ? kSuccess : kOptionSyntax;
}

rctype take_nbyte(Option& option, const Keyword& /*keyword*/) {
  YX_VAR variable = {};
  const int length = wzstlen(option.token.token);
  if (option.token.type != kTokenName) return kOptionSyntax;
  if (length > static_cast<int>(sizeof variable.name)) return kOptionSyntax;
  variable.namelen = join(variable.name, sizeof variable.name, view(option.token.token, length));
  variable.len = -1;
  if (!bind_variable(&variable)) return kOptionSyntax;
  variable.addr = nullptr;
  option.block->nbyte = variable;
  return kSuccess;
}

// In the order in which they are compared.
constexpr Keyword kKeywords[] = {
    {"LRECL", Form::kValue, 0, take_number<&FAMB::lrecl>},
    {"WAIT_MILLISECONDS", Form::kValue, 0, take_number<&FAMB::wait>},
    {"RECFM", Form::kValue, 0, take_recfm},
    {"USER", Form::kQuietValue, 0, take_login<&FAMB::user>},
    {"HOST", Form::kQuietValue, 0, take_login<&FAMB::host>},
    {"HOSTNAME", Form::kQuietValue, 0, take_login<&FAMB::host>},
    {"DEBUG", Form::kFlag, kOptionDebug, take_flag},
    {"OPTIONS", Form::kQuietValue, 0, take_client_options<&FAMB::options, &FAMB::optionsl>},
    {"OPTIONSX", Form::kQuietValue, 0, take_secret_options},
    {"FILEEXT", Form::kFlag, kOptionFileext, take_flag},
    {"ENCODING", Form::kValue, 0, take_encoding},
    {"DIR", Form::kFlag, kOptionDir, take_flag},
    {"NEW", Form::kFlag, kOptionNew, take_flag},
    {"SFTP", Form::kFlag, 0, take_flag},
    {"LSA", Form::kFlag, kOptionLsa, take_lsa},
    {"LS", Form::kFlag, kOptionLs, take_ls},
    {"LSFILE", Form::kValue, 0, take_lsfile},
    {"CD", Form::kValue, kOptionCd, take_text<&FAMB::cd, &FAMB::cdl>},
    {"BATCHFILE", Form::kValue, kOptionBatch, take_text<&FAMB::batchfile, &FAMB::batchfilel>},
    {"MGET", Form::kFlag, kOptionMget, take_flag},
    {"PATH", Form::kValue, kOptionPath, take_text<&FAMB::path, &FAMB::pathl>},
    {"NONBYTE", Form::kFlag, 0, take_nonbyte},
    {"NBYTE", Form::kNbyte, 0, take_nbyte},
};

}  // namespace

const Keyword* find_keyword(const Option& option) {
  for (const Keyword& keyword : kKeywords) {
    if (keyword.form == Form::kNbyte && (option.env & kParseNbyteAllowed) == 0) continue;
    const auto length = static_cast<int>(keyword.name.size());
    if (wzstcom(option.token.token, option.token.tokenl, keyword.name.data(), length) == 0) {
      return &keyword;
    }
  }
  return nullptr;
}
