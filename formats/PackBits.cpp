#include "formats/PackBits.h"

#include <cstring>

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
            std::memcpy(destination, source, copy);
            destination += copy;
            if (present < length) return sourceEnd;
            source += length;
        } else {
            length = static_cast<size_t>((1 - static_cast<int>(control)) & 255);
            if (source >= sourceEnd) return sourceEnd;
            const uint8_t value = *source++;
            const size_t room = static_cast<size_t>(destinationEnd - destination);
            const size_t fill = length < room ? length : room;
            std::memset(destination, value, fill);
            destination += fill;
        }
        if (remaining < length) return source;
        remaining -= length;
    }
    return source;
}
