// Which vector code the decoder uses. Every x86-64 processor has SSE2, so
// those builds take the SSE2 paths; the i686 build (and any other) takes the
// portable code, which gives the same bytes. VANTIREL_PORTABLE_ONLY makes an
// SSE2 build take the portable code too, so that it can be tested natively.
#pragma once

#if defined(__SSE2__) && !defined(VANTIREL_PORTABLE_ONLY)
#define VANTIREL_SSE2 1
#include <emmintrin.h>
#endif
