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

// Strings are handled a machine word at a time: 8 bytes on 64-bit
// processors, 4 on 32-bit ones.
using Word = uintptr_t;
constexpr uint32_t kWordBytes = sizeof(Word);

// Words are loaded and stored with the first byte in the low bits whatever
// the processor's byte order, so that shifting a word left or right moves
// its bytes towards the end or the start of the string.
inline Word LoadWord(const uint8_t* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = sizeof word == 8 ? static_cast<Word>(__builtin_bswap64(word))
                            : static_cast<Word>(__builtin_bswap32(static_cast<uint32_t>(word)));
#endif
    return word;
}

inline void StoreWord(uint8_t* bytes, Word word) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = sizeof word == 8 ? static_cast<Word>(__builtin_bswap64(word))
                            : static_cast<Word>(__builtin_bswap32(static_cast<uint32_t>(word)));
#endif
    std::memcpy(bytes, &word, sizeof word);
}

// Four bytes as one big-endian number.
inline uint32_t BigEndian32(const uint8_t* bytes) {
    uint32_t word;
    std::memcpy(&word, bytes, 4);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    word = __builtin_bswap32(word);
#endif
    return word;
}

// A string of the table. Every string is the previous one followed by the
// first byte of the next, so it also stands in the output already (or,
// for the first entry of a stream that does not begin with a clear code,
// is a zero byte and the first byte of the first string). The entry keeps
// the string's first word of bytes (zero behind a shorter string), its
// length and, for a string longer than a word, the output offset where it
// was written: emitting a short string is one store from the entry itself,
// emitting a long one a copy from earlier output a word at a time, instead
// of a walk down a chain of prefix codes.
struct Entry {
    Word head;
    // Offset times 65536 plus length. No string reaches 65536 bytes (the
    // table holds 4096), and no output reaches 2^48 bytes.
    uint64_t place;
};

inline uint64_t Place(size_t offset, uint32_t length) {
    return static_cast<uint64_t>(offset) << 16 | length;
}
inline uint32_t LengthOf(uint64_t place) { return static_cast<uint32_t>(place) & 0xFFFF; }
inline size_t OffsetOf(uint64_t place) { return static_cast<size_t>(place >> 16); }

// The string that follows `head` of `length` bytes with `byte` appended,
// as far as it fits in a word.
inline Word Append(Word head, uint32_t length, uint8_t byte) {
    return length < kWordBytes ? head | static_cast<Word>(byte) << (8 * length) : head;
}

// MSB-first codes from the source bytes, by bit position. A code is at
// most 12 bits, so the four bytes from the code's first byte hold it
// whole.
class BitReader {
public:
    BitReader(const uint8_t* begin, const uint8_t* end)
        : begin_(begin),
          bits_(static_cast<uint64_t>(end - begin) * 8),
          // Four bytes can be loaded at every position up to here.
          wholeWordsUpTo_(end - begin >= 4 ? static_cast<uint64_t>(end - begin - 4) * 8 : 0),
          wholeWords_(end - begin >= 4) {}

    // True when the next code can be read with one 4-byte load.
    bool CanReadQuickly() const { return wholeWords_ && position_ <= wholeWordsUpTo_; }
    unsigned ReadQuickly(unsigned width) {
        const uint32_t window = BigEndian32(begin_ + (position_ >> 3)) << (position_ & 7);
        position_ += width;
        return window >> (32 - width);
    }

    // False when fewer than `width` bits are left.
    bool Read(unsigned width, unsigned* code) {
        if (bits_ - position_ < width) return false;
        const size_t at = static_cast<size_t>(position_ >> 3);
        const size_t available = static_cast<size_t>((bits_ >> 3) - at);
        uint32_t window = 0;
        for (size_t i = 0; i < 4; ++i) window = window << 8 | (i < available ? begin_[at + i] : 0u);
        window <<= position_ & 7;
        position_ += width;
        *code = window >> (32 - width);
        return true;
    }

    // Just behind the last bit handed out, rounded up to a whole byte.
    const uint8_t* Position() const { return begin_ + static_cast<size_t>((position_ + 7) >> 3); }

private:
    const uint8_t* begin_;
    uint64_t position_ = 0;
    uint64_t bits_;
    uint64_t wholeWordsUpTo_;
    bool wholeWords_;
};

// Copies `length` bytes (more than a word) from `from`, which lies at least
// a word before `out`, a word at a time, the last word ending on the
// string's end. Each word is read before anything at or behind it is
// written, except where the string repeats its own start (a string made of
// the previous one and its first byte), whose bytes are written by then.
inline void CopyLongString(uint8_t* out, const uint8_t* from, uint32_t length) {
    for (uint32_t i = 0; i + kWordBytes < length; i += kWordBytes)
        StoreWord(out + i, LoadWord(from + i));
    StoreWord(out + length - kWordBytes, LoadWord(from + length - kWordBytes));
}

// The decoder, for a destination of any content or (kClear) for one that
// holds only zeros beyond what has been decoded.
template <bool kClear>
const uint8_t* Decode(uint8_t* destination, uint8_t* destinationEnd, const uint8_t* source,
                      const uint8_t* sourceEnd) {
    Entry table[kTableSize];
    for (unsigned i = 0; i < 256; ++i) table[i] = Entry{i, Place(0, 1)};

    BitReader bits(source, sourceEnd);
    unsigned width = 9;
    unsigned mask = 511;
    unsigned nextCode = kFirstFreeCode;
    uint8_t* out = destination;
    // The previous string. A stream that does not begin with a clear code
    // starts from previous code 0: a single zero byte, which stands in no
    // output.
    Word previousHead = 0;
    uint32_t previousLength = 1;
    size_t previousOffset = 0;

    const size_t room = static_cast<size_t>(destinationEnd - destination);
    size_t codesLeft = room > (SIZE_MAX - kSpareCodes) / 2 ? SIZE_MAX : 2 * room + kSpareCodes;

    // Codes are decoded quickly while the output has a word of room ahead
    // and the input has four bytes at the code. A string of up to a word
    // is then written with one store: into a clear destination as the word
    // of its bytes and zeros behind them, which leaves zeros where zeros
    // were; otherwise as the word that ends on the string's last byte, made
    // of the output's last bytes and the string's, which needs a word of
    // output behind it. Either way nothing outside the string changes.
    const bool quickRoom = room >= kWordBytes;
    uint8_t* const quickFrom = kClear ? destination : destination + kWordBytes;
    uint8_t* const quickTo = quickRoom ? destinationEnd - kWordBytes : destination;

    unsigned code = 0;
    bool haveCode = false;  // a code read by the quick loop that it leaves to the careful one
    for (;;) {
        if (!haveCode && quickRoom && out >= quickFrom && out <= quickTo && codesLeft != 0 &&
            bits.CanReadQuickly()) {
            Word tail = kClear ? 0 : LoadWord(out - kWordBytes);  // the output's last word
            do {
                --codesLeft;
                code = bits.ReadQuickly(width);
                if (code - kClearCode < 2) {
                    haveCode = true;
                    break;
                }
                Word head;
                uint64_t place;
                if (__builtin_expect(code < nextCode, 1)) {
                    const Entry& entry = table[code];
                    head = entry.head;
                    place = entry.place;
                } else {
                    // Not in the table yet: the previous string and its own
                    // first byte (any code beyond the next free one is taken
                    // the same way).
                    head = Append(previousHead, previousLength, static_cast<uint8_t>(previousHead));
                    place = Place(previousOffset, previousLength + 1);
                }
                const uint32_t length = LengthOf(place);
                if (length <= kWordBytes) {
                    if (kClear) {
                        StoreWord(out, head);
                    } else {
                        // Shifting by 8 * length - 1 and then by 1 keeps
                        // both shifts below the word's width.
                        tail =
                            ((tail >> (8 * length - 1)) >> 1) | head << (8 * (kWordBytes - length));
                        StoreWord(out + length - kWordBytes, tail);
                    }
                } else {
                    if (length > static_cast<size_t>(destinationEnd - out)) {
                        // Only part of it fits: the careful loop writes that.
                        haveCode = true;
                        break;
                    }
                    CopyLongString(out, destination + OffsetOf(place), length);
                    if (!kClear) tail = LoadWord(out + length - kWordBytes);
                }

                if (nextCode < kTableSize) {
                    table[nextCode] =
                        Entry{Append(previousHead, previousLength, static_cast<uint8_t>(head)),
                              Place(previousOffset, previousLength + 1)};
                    ++nextCode;
                    // Early change: the width grows as soon as the next free
                    // code reaches the current mask.
                    if (nextCode >= mask && width != kMaximumWidth) {
                        ++width;
                        mask = mask * 2 + 1;
                    }
                }
                previousHead = head;
                previousLength = length;
                previousOffset = static_cast<size_t>(out - destination);
                out += length;
            } while (out <= quickTo && codesLeft != 0 && bits.CanReadQuickly());
            if (!haveCode) continue;
        }

        if (!haveCode) {
            if (codesLeft-- == 0) break;
            if (!bits.Read(width, &code)) return sourceEnd;
        }
        haveCode = false;
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
            previousHead = static_cast<uint8_t>(code);
            previousLength = 1;
            previousOffset = static_cast<size_t>(out - destination);
            ++out;
            continue;
        }

        Word head;
        uint64_t place;
        if (code < nextCode) {
            head = table[code].head;
            place = table[code].place;
        } else {
            head = Append(previousHead, previousLength, static_cast<uint8_t>(previousHead));
            place = Place(previousOffset, previousLength + 1);
        }
        const uint32_t length = LengthOf(place);
        // As much of the string as fits, byte by byte; a long string's
        // source lies before `out`, or (a string made of the previous one
        // and its first byte) ends where it begins to be written.
        const size_t fits = length < static_cast<size_t>(destinationEnd - out)
                                ? length
                                : static_cast<size_t>(destinationEnd - out);
        if (length <= kWordBytes) {
            for (size_t i = 0; i < fits; ++i) out[i] = static_cast<uint8_t>(head >> (8 * i));
        } else {
            const uint8_t* from = destination + OffsetOf(place);
            for (size_t i = 0; i < fits; ++i) out[i] = from[i];
        }
        if (fits < length) {
            out += fits;
            break;
        }

        if (nextCode < kTableSize) {
            table[nextCode] =
                Entry{Append(previousHead, previousLength, static_cast<uint8_t>(head)),
                      Place(previousOffset, previousLength + 1)};
            ++nextCode;
            if (nextCode >= mask && width != kMaximumWidth) {
                ++width;
                mask = mask * 2 + 1;
            }
        }
        previousHead = head;
        previousLength = length;
        previousOffset = static_cast<size_t>(out - destination);
        out += length;
    }
    return bits.Position();
}
}  // namespace

const uint8_t* TiffLzwDecode(uint8_t* destination, uint8_t* destinationEnd, const uint8_t* source,
                             const uint8_t* sourceEnd, bool destinationIsClear) {
    return destinationIsClear ? Decode<true>(destination, destinationEnd, source, sourceEnd)
                              : Decode<false>(destination, destinationEnd, source, sourceEnd);
}
