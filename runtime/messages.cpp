#include "runtime/messages.h"

#include <fmt/args.h>
#include <fmt/format.h>

#include <type_traits>

#include "host/codes.h"
#include "host/messages.h"
#include "runtime/name_escape.h"

namespace fileref::runtime {
namespace {

struct Text {
  const char* severity;
  const char* format;
};

// The catalogue: one text for each row of host/messages.def, under the row's name. A row without a
// text does not compile.
namespace catalogue {
constexpr Text ClientText = {"note", "{}"};
constexpr Text ByteCountTooLarge = {
    "error",
    "{} bytes were asked for, but a record holds at most {}. Raise LRECL, or ask for less."};
constexpr Text NbyteUnusable = {
    "error",
    "Stream input needs a variable for the byte count. Name one with NBYTE=, or give NONBYTE."};
constexpr Text HostUnknown = {"error", "The host \"{}\" does not exist. Check the name in HOST=."};
constexpr Text CdIgnored = {"warning", "CD is not used together with DIR."};
constexpr Text RemoteNameFailed = {
    "error", "\"{}\" failed on the remote side. Check that it exists and that you may use it."};
constexpr Text NotADirectory = {
    "error", "This fileref does not stand for a directory. Assign it with DIR. (Method {}.)"};
constexpr Text NothingListed = {"error", "Nothing on the remote side matches the pattern."};
constexpr Text LoginAsked = {"error", "The client asks for a login name. Give one with USER=."};
constexpr Text PatternListed = {"note", "\"{}\" is a pattern that matched nothing."};
constexpr Text NoAnswerInTime = {
    "error", "The client gave no answer in time. Check the connection, or raise the limit."};
constexpr Text NoToolkit = {"error", "The host's toolkit is not there."};
constexpr Text NoLaunchService = {"error", "The service that starts the client cannot be loaded."};
constexpr Text NoTranscoder = {"error", "The command line of the client cannot be converted."};
constexpr Text ClientNotStarted = {
    "error", "No session could be started. Check the client program, the host and the login."};
constexpr Text LsWithLsa = {"warning", "LS and LSA were both given; LSA is used."};
constexpr Text SessionNotEstablished = {"error", "The {} session was not established."};
constexpr Text NoOptions = {"error", "A fileref of method {} needs options, HOST= at least. ({})"};
constexpr Text BatchFileFailed = {"error", "The batch file \"{}\" failed."};
constexpr Text NoJournal = {"error", "The session's journal cannot be made."};
constexpr Text NoPool = {"error", "The session's memory cannot be had."};
constexpr Text BatchFailed = {"error", "A command of the batch file failed."};
constexpr Text ListingMayBeCut = {
    "warning", "The listing is large and ended without a prompt. It may not be complete."};
}  // namespace catalogue

using Arguments = fmt::dynamic_format_arg_store<fmt::format_context>;

// va_list may be an array type, which cannot be passed on by reference.
struct ArgumentList {
  va_list list;
};

template <class T>
void push(Arguments& store, ArgumentList& arguments) {
  if constexpr (std::is_same_v<T, MessageText>) {
    const char* text = va_arg(arguments.list, const char*);
    std::string copy = text == nullptr ? "(no name)" : unescape_name(text);
    while (!copy.empty() && (copy.back() == '\n' || copy.back() == '\r')) copy.pop_back();
    store.push_back(copy);
  } else {
    store.push_back(va_arg(arguments.list, T));
  }
}

template <int Number, class... Args>
Arguments collect(message::Message<Number, Args...> /*message*/, va_list arguments) {
  Arguments store;
  ArgumentList copy;
  va_copy(copy.list, arguments);
  (push<Args>(store, copy), ...);
  va_end(copy.list);
  return store;
}

struct Formatted {
  const char* severity;
  std::string text;
};

Formatted format_message(int group, int number, va_list arguments) {
  if (group == kMessageGroup) {
    switch (number) {
#define MESSAGE(name, message_number, ...) \
  case message_number:                     \
    return {catalogue::name.severity,      \
            fmt::vformat(catalogue::name.format, collect(message::name{}, arguments))};
#include "host/messages.def"
#undef MESSAGE
      default:
        break;
    }
  }
  return {"error", fmt::format("Message {}/{} is not in the catalogue.", group, number)};
}

// Cuts at the last whole UTF-8 character that fits.
std::string cut(std::string text, std::size_t most) {
  if (text.size() <= most) return text;
  std::size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  text.resize(end);
  return text;
}

std::string sentence_of(rctype rc) {
  switch (rc) {
    case kNoMemory:
    case kNoPoolMemory:
      return "There is not enough memory.";
    case kFailed:
      return "The operation failed, and nothing says why. If the client does not know the server's "
             "host key, connect once by hand to accept it.";
    case kNotSupported:
      return "The access method does not support this.";
    case kWrongUse:
      return "The fileref cannot be used this way: it stands for no directory, or its NBYTE "
             "variable holds no usable byte count.";
    case kCannotEnter:
      return "The remote directory can be neither entered nor made.";
    case kNotInListing:
      return "The remote file was not found, or a quote in the name list is not closed.";
    case kByteCountTooLarge:
      return "More bytes were asked for than a record holds. Raise LRECL, or ask for less.";
    case kNullPointer:
      return "The file or directory is not open.";
    case kUnknownMethod:
      return "There is no access method of that name.";
    case kUnknownEncoding:
      return "The encoding is not known.";
    case kDoesNotExist:
      return "The remote file does not exist.";
    default:
      return fmt::format("The access method failed with code {:#010x}.", static_cast<unsigned>(rc));
  }
}

}  // namespace

std::string Messages::format(int group, int number, va_list arguments) {
  return cut(format_message(group, number, arguments).text, kMessageMax);
}

void Messages::log(int group, int number, va_list arguments) {
  const Formatted message = format_message(group, number, arguments);
  log_.write(message.severity, message.text);
}

std::string Messages::describe(rctype rc) const {
  switch (rc) {
    case kNotAssigned:
      return fmt::format("The fileref \"{}\" is not assigned.",
                         attached_.empty() ? "" : attached_.front());
    case kStillOpen:
      return fmt::format("The fileref \"{}\" still has open files. Close them first.",
                         attached_.empty() ? "" : attached_.front());
    case kUnknownOption:
      return fmt::format("\"{}\" is not an option of this method.",
                         attached_.empty() ? "" : attached_.back());
    case kOptionSyntax:
      return "The option is not written rightly at the marked place.";
    default:
      return attached_.size() == 1 ? attached_.front() : sentence_of(rc);
  }
}

}  // namespace fileref::runtime
