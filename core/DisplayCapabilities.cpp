#include "core/DisplayCapabilities.h"

DisplayCapabilities g_display;
