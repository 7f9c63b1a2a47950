#include "formats/PackBits.h"

#include <cstring>

namespace {
// Runs are at most 129 bytes. They are copied or filled in pieces of
// fixed size, which compilers turn into single moves, the last piece
// ending on the run's last byte (overlapping the one before it); nothing
// outside the run is touched. (A general copy of a variable size costs
// more than the run itself at these lengths.)
inline void CopyRun(uint8_t* out, const uint8_t* in, size_t length) {
    if (length >= 16) {
        for (size_t i = 0; i + 16 < length; i += 16) std::memcpy(out + i, in + i, 16);
        std::memcpy(out + length - 16, in + length - 16, 16);
    } else if (length >= 8) {
        std::memcpy(out, in, 8);
        std::memcpy(out + length - 8, in + length - 8, 8);
    } else if (length >= 4) {
        std::memcpy(out, in, 4);
        std::memcpy(out + length - 4, in + length - 4, 4);
    } else {
        for (size_t i = 0; i < length; ++i) out[i] = in[i];
    }
}

inline void FillRun(uint8_t* out, uint8_t value, size_t length) {
    if (length >= 8) {
        const uint64_t word = value * 0x0101010101010101ull;
        for (size_t i = 0; i + 8 < length; i += 8) std::memcpy(out + i, &word, 8);
        std::memcpy(out + length - 8, &word, 8);
    } else {
        for (size_t i = 0; i < length; ++i) out[i] = value;
    }
}
}  // namespace

const uint8_t* PackBitsDecode(uint8_t* destination, uint8_t* destinationEnd, const uint8_t* source,
                              const uint8_t* sourceEnd, size_t byteCount) {
    if (byteCount == 0) byteCount = 1;  // the count is taken less one before the first run
    size_t remaining = byteCount - 1;
    while (source < sourceEnd) {
        const unsigned control = *source++;
        size_t length;
        if (control < 128) {
            length = control + 1;
            const size_t room = static_cast<size_t>(destinationEnd - destination);
            const size_t present = static_cast<size_t>(sourceEnd - source);
            const size_t copy = length < room ? (length < present ? length : present)
                                              : (room < present ? room : present);
            CopyRun(destination, source, copy);
            destination += copy;
            if (present < length) return sourceEnd;
            source += length;
        } else {
            length = static_cast<size_t>((1 - static_cast<int>(control)) & 255);
            if (source >= sourceEnd) return sourceEnd;
            const uint8_t value = *source++;
            const size_t room = static_cast<size_t>(destinationEnd - destination);
            const size_t fill = length < room ? length : room;
            FillRun(destination, value, fill);
            destination += fill;
        }
        if (remaining < length) return source;
        remaining -= length;
    }
    return source;
}
