// The host options that a module asks for, by number, and the attribute word that comes with one.
#pragma once

// A double: whether external programs may be run. 0 refuses the method, any other value allows it.
constexpr int kHostOptionXcmd = 12356;
// A long: the record length, in bytes, of what is opened without one.
constexpr int kHostOptionRecordLength = 4488;

// The top byte of the attribute word tells who set the option.
constexpr unsigned kOriginMask = 0xFF000000;
constexpr unsigned kOriginSystem = 0x01000000;  // nobody: it is the system's default
constexpr unsigned kOriginUser = 0x02000000;    // anything but the system's will do
