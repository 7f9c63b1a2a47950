// What the PNG reader reports for each result of inflate.
#pragma once

// The message for a zlib inflate result, or null for the results that let
// loading go on (ok and stream end).
const char* PngInflateMessage(int zlibResult);
