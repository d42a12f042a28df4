// The system's common controls and shell, whose headers stand on the platform's.
#pragma once

#include "platform/platform.h"

// Kept apart so that they stay behind it.
#include <commctrl.h>
#include <shellapi.h>
