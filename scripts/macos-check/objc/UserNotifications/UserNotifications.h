// Stands for Apple's UserNotifications framework: see AppleFrameworks.h.
#pragma once
#include "../AppleFrameworks.h"
