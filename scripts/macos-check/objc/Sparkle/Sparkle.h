// Stands for Apple's Sparkle framework: see AppleFrameworks.h.
#pragma once
#include "../AppleFrameworks.h"
