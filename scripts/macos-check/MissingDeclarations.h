// Declarations the vendored open-source macOS headers lack, force-included into every
// C++ file that scripts/check-macos-syntax.sh checks. Each line is copied by meaning
// from Apple's SDK documentation; the real SDK on a Mac declares them itself, so this
// file is never part of a Mac build. Keep it short: every line here is one thing the
// check takes on trust.
#pragma once

// The same type as CFBase.h's, repeated so that this file includes nothing: a source
// that forgets its own include still fails the check.
typedef const struct __CFString* CFStringRef;

extern "C" {

// CFURL.h, macOS 10.13: the space a volume can free for important work (purgeable
// files included). CF-1153, the last open-source CoreFoundation, predates it.
extern const CFStringRef kCFURLVolumeAvailableCapacityForImportantUsageKey;

}
