// How the module speaks to the user: a failure carries its message as substitution, everything
// else goes to the host's log. The argument types come from the message's row.
#pragma once

#include <string_view>

#include "dsup/src/services.h"
#include "host/messages.h"
#include "sup/src/yxsftp/text.h"

template <class Message>
struct Report;

template <int Number, class... Args>
struct Report<message::Message<Number, Args...>> {
  static rctype fail(Args... args) {
    char text[kMessageMax + 1];
    const int length = ypmstr(text, kMessageMax, kMessageGroup, Number, args...);
    text[length] = '\0';
    wrmksub(1, static_cast<const void*>(text), length + 1);
    return kFailed;
  }
  static rctype fail_because(Args... args, std::string_view reason) {
    char text[2 * kMessageMax + 1];
    const int length = ypmstr(text, kMessageMax, kMessageGroup, Number, args...);
    const int room = static_cast<int>(sizeof text) - length;
    const int more = join(text + length, -room, " ", reason);
    wrmksub(1, static_cast<const void*>(text), length + more + 1);
    return kFailed;
  }
  static void log(Args... args) { ypmlog(kMessageGroup, Number, args...); }
};

// `fail<message::X>(args...)` attaches the message to the current failure and answers kFailed.
template <class Message>
inline constexpr auto* fail = &Report<Message>::fail;

// The same with a sentence more: what it is that the message does not tell by itself.
template <class Message>
inline constexpr auto* fail_because = &Report<Message>::fail_because;

// `log_message<message::X>(args...)` writes it to the host's log.
template <class Message>
inline constexpr auto* log_message = &Report<Message>::log;

// Attaches a literal text.
template <int Size>
rctype fail_with_text(const char (&text)[Size]) {
  wrmksub(1, static_cast<const void*>(text), Size);
  return kFailed;
}

// Attaches the eight-character name that the failure is about.
inline rctype fail_with_name(rctype code, const char* name) {
  wrmksub(1, static_cast<const void*>(name), static_cast<int>(sizeof(char8)));
  return code;
}
