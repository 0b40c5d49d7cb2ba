// GNUstep's AppKit, plus what Apple's AppKit brings that GNUstep lacks. The additions
// are in AppleFrameworks.h.
#pragma once
#include_next <AppKit/AppKit.h>
#define QM_CHECK_APPKIT 1
#include "../AppleFrameworks.h"
