// The LZW decoder of TIFF strips (the TIFF 6.0 flavour: codes most
// significant bit first, code width growing one code early). The old
// least-significant-bit-first flavour of early writers is not recognised.
#pragma once
#include <cstdint>

// Decodes one strip from `source` into `destination` until the
// end-of-information code. Returns the source position just behind the last
// code consumed (the bit position rounded up to a whole byte).
//
// The table never grows past 4096 entries (a stream that fills it without a
// clear code goes on with the table as it is), output never goes at or past
// destinationEnd, and input is never read at or past sourceEnd. Decoding
// stops at the first code that does not fit in the output (what fits is
// written), when the input runs out (sourceEnd is returned then), and after
// twice as many codes as the output has bytes, plus 64: every code but a
// clear or the end code writes at least one byte, and a clear is followed
// by one that does, so no stream that fills its output needs more. (A run
// of clear codes that long decodes nothing; on a damaged file whose strips
// all point at it, reading it again for every strip would only cost time.)
//
// Only the decoded bytes are written, unless the caller says with
// `destinationIsClear` that the destination holds nothing but zeros (a
// freshly cleared block): the decoder may then write zeros behind the
// output too, which is quicker and leaves the same bytes.
const uint8_t* TiffLzwDecode(uint8_t* destination, uint8_t* destinationEnd, const uint8_t* source,
                             const uint8_t* sourceEnd, bool destinationIsClear = false);
