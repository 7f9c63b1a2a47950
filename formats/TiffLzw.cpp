#include "formats/TiffLzw.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {
constexpr unsigned kClearCode = 256;
constexpr unsigned kEndOfInformation = 257;
constexpr unsigned kFirstFreeCode = 258;
constexpr unsigned kTableSize = 4096;
constexpr unsigned kMaximumWidth = 12;
// Codes a stream may read beyond two per byte of output room (see the
// header): enough for any run of clear codes a writer might make.
constexpr size_t kSpareCodes = 64;

// Every string in the table is also somewhere in the output already: a new
// entry is the previous string followed by the first byte of the current
// one, and the output holds exactly that, the current string having been
// written right behind the previous one. So an entry is just where its
// string was written and how long it is, and decoding a code is one copy
// from earlier output instead of a walk down a prefix chain.
struct Entry {
    const uint8_t* start;
    uint32_t length;
};

// Eight bytes as one big-endian number, in one load.
inline uint64_t BigEndian64(const uint8_t* bytes) {
    uint64_t word;
    std::memcpy(&word, bytes, 8);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    return word;
}

// MSB-first bit reader. The top `count` bits of `buffer` are the next input
// bits; bytes past the end of the input are never read.
class BitReader {
public:
    BitReader(const uint8_t* begin, const uint8_t* end) : begin_(begin), next_(begin), end_(end) {}

    // False when fewer than `width` bits are left.
    bool Read(unsigned width, unsigned* code) {
        if (count_ < width) {
            Refill();
            if (count_ < width) return false;
        }
        *code = static_cast<unsigned>(buffer_ >> (64 - width));
        buffer_ <<= width;
        count_ -= width;
        return true;
    }

    // Just behind the last bit handed out, rounded up to a whole byte.
    const uint8_t* Position() const {
        const size_t consumedBits = static_cast<size_t>(next_ - begin_) * 8 - count_;
        return begin_ + (consumedBits + 7) / 8;
    }

private:
    void Refill() {
        if (end_ - next_ >= 8) {
            const uint64_t word = BigEndian64(next_);
            // Whole bytes that fit are taken; the bits of a partly fitting
            // byte are or-ed in again, unchanged, by the next refill.
            buffer_ |= word >> count_;
            next_ += (63 - count_) >> 3;
            count_ |= 56;
        } else {
            while (count_ <= 56 && next_ < end_) {
                buffer_ |= static_cast<uint64_t>(*next_++) << (56 - count_);
                count_ += 8;
            }
        }
    }

    const uint8_t* begin_;
    const uint8_t* next_;
    const uint8_t* end_;
    uint64_t buffer_ = 0;
    unsigned count_ = 0;
};

// Copies a string from earlier output (or from the start string) to `out`,
// exactly `length` bytes: short strings as two overlapping moves of 4 or 2
// bytes, longer ones in 8-byte steps with a last step that ends on the
// string's end. Nothing behind the string is touched (it may hold an earlier
// strip's bytes that must stay). The source lies wholly before `out`.
inline void CopyString(uint8_t* out, const uint8_t* from, uint32_t length) {
    if (length >= 8) {
        for (uint32_t i = 0; i + 8 < length; i += 8) std::memcpy(out + i, from + i, 8);
        std::memcpy(out + length - 8, from + length - 8, 8);
    } else if (length >= 4) {
        std::memcpy(out, from, 4);
        std::memcpy(out + length - 4, from + length - 4, 4);
    } else if (length >= 2) {
        std::memcpy(out, from, 2);
        std::memcpy(out + length - 2, from + length - 2, 2);
    } else {
        *out = *from;
    }
}
}  // namespace

const uint8_t* TiffLzwDecode(uint8_t* destination, uint8_t* destinationEnd, const uint8_t* source,
                             const uint8_t* sourceEnd) {
    Entry table[kTableSize];
    // A stream that does not begin with a clear code starts from previous
    // code 0: its first new entry is a zero byte followed by the first byte
    // of the first string. That two-byte string lives here.
    uint8_t startString[2] = {};

    BitReader bits(source, sourceEnd);
    unsigned width = 9;
    unsigned mask = 511;
    unsigned nextCode = kFirstFreeCode;
    uint8_t* out = destination;
    const uint8_t* previousStart = startString;
    uint32_t previousLength = 1;

    // Writes `length` bytes of `from`; false (after writing what fits) when
    // the output is full.
    auto put = [&](const uint8_t* from, uint32_t length) {
        const size_t room = static_cast<size_t>(destinationEnd - out);
        if (room >= length) {
            CopyString(out, from, length);
            out += length;
            return true;
        }
        const size_t fits = length < room ? length : room;
        std::memmove(out, from, fits);
        out += fits;
        return fits == length;
    };

    const size_t room = static_cast<size_t>(destinationEnd - destination);
    size_t codesLeft = room > (SIZE_MAX - kSpareCodes) / 2 ? SIZE_MAX : 2 * room + kSpareCodes;

    unsigned code;
    for (;;) {
        if (codesLeft-- == 0) break;
        if (!bits.Read(width, &code)) return sourceEnd;
        if (code == kEndOfInformation) break;
        if (__builtin_expect(code == kClearCode, 0)) {
            width = 9;
            mask = 511;
            nextCode = kFirstFreeCode;
            do {
                if (codesLeft-- == 0) return bits.Position();
                if (!bits.Read(width, &code)) return sourceEnd;
            } while (code == kClearCode);
            if (code == kEndOfInformation) break;
            // The first code after a clear is written as one byte.
            if (out >= destinationEnd) break;
            *out = static_cast<uint8_t>(code);
            previousStart = out++;
            previousLength = 1;
            continue;
        }

        uint8_t* const here = out;
        uint32_t length;
        if (code < 256) {
            if (out >= destinationEnd) break;
            *out++ = static_cast<uint8_t>(code);
            length = 1;
        } else if (code < nextCode) {
            {
                const Entry& entry = table[code];
                if (!put(entry.start, entry.length)) break;
                length = entry.length;
            }
        } else {
            // Not in the table yet: the previous string and its own first
            // byte (any code beyond the next free one is taken the same way).
            if (!put(previousStart, previousLength)) break;
            if (out >= destinationEnd) break;
            *out++ = *previousStart;
            length = previousLength + 1;
        }
        if (previousStart == startString) startString[1] = *here;

        if (nextCode < kTableSize) {
            table[nextCode] = Entry{previousStart, previousLength + 1};
            ++nextCode;
            // Early change: the width grows as soon as the next free code
            // reaches the current mask.
            if (nextCode >= mask && width != kMaximumWidth) {
                ++width;
                mask = mask * 2 + 1;
            }
        }
        previousStart = here;
        previousLength = length;
    }
    return bits.Position();
}
