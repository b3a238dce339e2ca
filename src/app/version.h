// app/version.h
//
// The program's version, the one place it is kept: the high byte is the major
// number, the low byte the minor one, printed "%d.%02d" (0x105 is 1.05). The manual
// and the change log name the same version; a test holds them to it.
#pragma once

inline constexpr int kVersion = 0x105;
// When the program was built, as the version line shows it.
inline constexpr char kBuildStamp[] = __DATE__ " " __TIME__;
