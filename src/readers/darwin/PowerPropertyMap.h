// Copies Core Foundation property lists (IOKit dictionaries) into PropertyMap values,
// so the portable parsers can read them. macOS only.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "readers/PowerCommon.h"

namespace qm {

// Dictionaries, arrays, strings, numbers and booleans; anything else (data, dates)
// becomes null. Integers keep their sign: IOKit stores a discharging battery's
// amperage as a negative 64-bit value.
PropertyMap propertyFromCF(CFTypeRef value);

}  // namespace qm
