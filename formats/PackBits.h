// PackBits run-length decoding, shared by the TIFF, IFF and MacPaint readers.
#pragma once
#include <cstddef>
#include <cstdint>

// Decodes runs until at least `byteCount` bytes have been produced. A control
// byte n of 0..127 copies the next n + 1 bytes; 128..255 repeats the next byte
// (1 - n) mod 256 times, so 128 gives 129 copies (not a no-op). The run that
// crosses the count is written whole, which can produce up to 128 bytes more
// than asked for.
//
// Output never goes past destinationEnd and input is never read at or past
// sourceEnd: decoding stops at the first place either runs out. Returns the
// source position just behind the last run decoded.
const uint8_t* PackBitsDecode(uint8_t* destination, uint8_t* destinationEnd, const uint8_t* source,
                              const uint8_t* sourceEnd, size_t byteCount);
