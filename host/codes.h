// Every code that crosses the boundary, with its meaning.
#pragma once

#include "types.h"

constexpr rctype code(unsigned value) {
  return static_cast<rctype>(value);
}

constexpr rctype kSuccess = 0;

// Ends of sequences: not failures. The high bits of a result may carry facility bits, so compare
// with `plain_code`.
constexpr rctype kEndOfFile = 0x801;      // no further record
constexpr rctype kEndOfMembers = 0x802;   // no further directory member
constexpr rctype kDoesNotExist = 0x1006;  // the file or member asked about does not exist
constexpr rctype kSkipThisFile = 0x102D;  // this file of several cannot be fetched; try the next

constexpr rctype plain_code(rctype rc) {
  return static_cast<rctype>(static_cast<unsigned>(rc) & 0x803FFFFFu);
}

// Failures of the module's entries.
constexpr rctype kNoMemory = code(0x80000803);       // an allocation returned null
constexpr rctype kFailed = code(0x80000805);         // a message text is attached
constexpr rctype kNotSupported = code(0x8000080B);   // the method has no such entry
constexpr rctype kNotAssigned = code(0x80001004);    // attached: the logical name
constexpr rctype kWrongUse = code(0x8000100F);       // not a directory; NBYTE variable unusable
constexpr rctype kCannotEnter = code(0x80001010);    // directory can be neither entered nor made
constexpr rctype kNotInListing = code(0x80001011);   // nothing listed; or a quote is not closed
constexpr rctype kUnknownOption = code(0x80001017);  // attached: token length and text
constexpr rctype kOptionSyntax = code(0x80001018);   // attached: token length and text
constexpr rctype kByteCountTooLarge = code(0x8000101A);  // NBYTE asks for more than a record holds
constexpr rctype kStillOpen = code(0x80001024);          // attached: the logical name
constexpr rctype kNullPointer = code(0x80001025);     // null, or already ended, file or directory
constexpr rctype kBadTranslation = code(0x8000200A);  // unknown string translation function

// Results of the launch service and of the process object it makes.
constexpr rctype kEndOfOutput = code(0x803FC064);     // the client's output has ended
constexpr rctype kNoAnswerInTime = code(0x803FC006);  // no output within the wait
constexpr rctype kNoPoolMemory = code(0x803FC002);    // a name pool has no room
constexpr rctype kLaunchNotice = code(0x80BFD00E);    // counts as success while starting
constexpr rctype kProcessFailed =
    code(0x803FC009);  // a command could not be sent or was broken off

// Failures of the host's own services that the module passes on unchanged.
constexpr rctype kUnknownMethod = code(0x80002001);  // no method of that name
constexpr rctype kUnknownHostOption = code(0x80002002);
constexpr rctype kTokenFailure = code(0x80002003);  // option text ends early or a quote is open
constexpr rctype kTempFailure = code(0x80002004);   // temporary file: cannot be made, read, written
constexpr rctype kRecordTooLong = code(0x80002005);  // a record exceeds the record length
constexpr rctype kBadRecord = code(0x80002006);      // a record that its format cannot hold
constexpr rctype kBadEncoding = code(0x80002007);    // text that cannot be converted
constexpr rctype kNotANumber = code(0x80002008);
constexpr rctype kUnknownEncoding = code(0x80002009);
