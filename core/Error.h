// The process-wide error report: where the last failure happened and what it
// was. A failing routine fills both texts and returns false; the routine that
// began the user's operation shows them (place as caption, text as body).
#pragma once

constexpr int kErrorTextSize = 256;
extern char g_errorPlace[kErrorTextSize];
extern char g_errorText[kErrorTextSize];

// printf-style; always returns false so failures read `return SetError(...)`.
bool SetError(const char* place, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
void ClearError();
