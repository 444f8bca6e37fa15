// The messages of the module's group, their numbers and the types of their arguments. The texts
// are the host's (its catalogue is keyed by these rows), so a message the catalogue lacks, or an
// argument of the wrong type, does not compile.
#pragma once

constexpr int kMessageGroup = 566;
// Longest formatted message in bytes; `ypmstr` buffers hold one byte more for a terminator.
constexpr int kMessageMax = 255;

// Texts are zero-terminated; a null text prints as a stand-in.
using MessageText = const char*;

namespace message {

template <int Number, class... Args>
struct Message {
  static constexpr int number = Number;
};

#define MESSAGE(name, number, ...) using name = Message<number __VA_OPT__(, ) __VA_ARGS__>;
#include "messages.def"
#undef MESSAGE

}  // namespace message
