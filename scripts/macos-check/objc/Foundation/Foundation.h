// GNUstep's Foundation, plus what Apple's Foundation brings that GNUstep lacks. The
// additions are in AppleFrameworks.h.
#pragma once
#include_next <Foundation/Foundation.h>
#include "../AppleFrameworks.h"
