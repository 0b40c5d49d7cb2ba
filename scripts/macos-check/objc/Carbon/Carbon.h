// Stands for Apple's Carbon framework: see AppleFrameworks.h.
#pragma once
#include "../AppleFrameworks.h"
