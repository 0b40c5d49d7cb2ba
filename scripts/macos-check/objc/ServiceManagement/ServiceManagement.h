// Stands for Apple's ServiceManagement framework: see AppleFrameworks.h.
#pragma once
#include "../AppleFrameworks.h"
