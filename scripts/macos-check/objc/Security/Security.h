// Stands for Apple's Security framework: see AppleFrameworks.h.
#pragma once
#include "../AppleFrameworks.h"
