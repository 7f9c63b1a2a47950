// What the screen can show, as the windows and display images need it: the
// program-wide record of core/DisplayCapabilities.h, filled at start-up and
// refreshed when the display mode changes.
#pragma once
#include "core/DisplayCapabilities.h"

using DisplayCaps = DisplayCapabilities;

// Reads the screen's current values into g_display.
void RefreshDisplayCaps();
