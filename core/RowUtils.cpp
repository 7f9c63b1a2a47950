#include "core/RowUtils.h"

#include <algorithm>
#include <cstring>

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#include <tmmintrin.h>
#endif

void CopyRows(uint8_t* destination, int destinationStride, const uint8_t* source, int sourceStride,
              int rows) {
    const size_t bytes = static_cast<size_t>(std::min(destinationStride, sourceStride));
    if (rows <= 0 || destinationStride <= 0 || sourceStride <= 0) return;
    const bool backwards = destination == source && destinationStride != sourceStride;
    for (int i = 0; i < rows; ++i) {
        const int row = backwards ? rows - 1 - i : i;
        std::memmove(destination + static_cast<ptrdiff_t>(row) * destinationStride,
                     source + static_cast<ptrdiff_t>(row) * sourceStride, bytes);
    }
}

namespace {
// Eight bytes with the first in the low bits, whatever the processor's
// byte order.
inline uint64_t Load8(const uint8_t* bytes) {
    uint64_t word;
    std::memcpy(&word, bytes, 8);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    return word;
}

inline void Store8(uint8_t* bytes, uint64_t word) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    std::memcpy(bytes, &word, 8);
}

// Eight pixels, 24 bytes, as three words: byte k of the pixels is byte
// k mod 8 of word k / 8. A byte whose index is 0 mod 3 takes the byte two
// further on, one that is 2 mod 3 the byte two back, the middle bytes
// stay; across a word's edge the neighbouring word supplies the byte. Each
// word's masks pick the bytes of each kind from its own place in the
// 3-byte cycle.
inline void SwapEightPixels(uint8_t* out, const uint8_t* in) {
    const uint64_t a = Load8(in), b = Load8(in + 8), c = Load8(in + 16);
    constexpr uint64_t kEvery3From0 = 0x00FF0000FF0000FFull;  // bytes 0, 3, 6
    constexpr uint64_t kEvery3From1 = 0xFF0000FF0000FF00ull;  // bytes 1, 4, 7
    constexpr uint64_t kEvery3From2 = 0x0000FF0000FF0000ull;  // bytes 2, 5
    // Word a holds bytes 0-7: first bytes at 0, 3, 6; middle at 1, 4, 7.
    const uint64_t outA =
        (a & kEvery3From1) | (((a >> 16) | (b << 48)) & kEvery3From0) | ((a << 16) & kEvery3From2);
    // Word b holds bytes 8-15: third bytes at 0, 3, 6; first at 1, 4, 7.
    const uint64_t outB = (b & kEvery3From2) | (((b >> 16) | (c << 48)) & kEvery3From1) |
                          (((b << 16) | (a >> 48)) & kEvery3From0);
    // Word c holds bytes 16-23: middle bytes at 0, 3, 6; third at 1, 4, 7.
    const uint64_t outC =
        (c & kEvery3From0) | ((c >> 16) & kEvery3From2) | (((c << 16) | (b >> 48)) & kEvery3From1);
    Store8(out, outA);
    Store8(out + 8, outB);
    Store8(out + 16, outC);
}

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#define VANTIREL_BYTE_SHUFFLE 1
// Sixteen pixels, 48 bytes, as three 16-byte vectors, with the byte
// shuffle of SSSE3 processors: each output vector is gathered from its own
// input vector and the neighbouring bytes of the one before or after
// (index 0x80 yields zero, so the pieces are or-ed together). All three
// are loaded before any is stored, so the pixels may be converted in place.
__attribute__((target("ssse3"))) size_t SwapWithByteShuffles(uint8_t* out, const uint8_t* in,
                                                             size_t pixels) {
    const char z = static_cast<char>(0x80);
    const __m128i first0 = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, z);
    const __m128i first1 = _mm_setr_epi8(z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, 1);
    const __m128i second0 = _mm_setr_epi8(z, 15, z, z, z, z, z, z, z, z, z, z, z, z, z, z);
    const __m128i second1 = _mm_setr_epi8(0, z, 4, 3, 2, 7, 6, 5, 10, 9, 8, 13, 12, 11, z, 15);
    const __m128i second2 = _mm_setr_epi8(z, z, z, z, z, z, z, z, z, z, z, z, z, z, 0, z);
    const __m128i third1 = _mm_setr_epi8(14, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z);
    const __m128i third2 = _mm_setr_epi8(z, 3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10, 15, 14, 13);
    size_t x = 0;
    for (; x + 16 <= pixels; x += 16) {
        const __m128i* from = reinterpret_cast<const __m128i*>(in + 3 * x);
        const __m128i a = _mm_loadu_si128(from);
        const __m128i b = _mm_loadu_si128(from + 1);
        const __m128i c = _mm_loadu_si128(from + 2);
        __m128i* to = reinterpret_cast<__m128i*>(out + 3 * x);
        _mm_storeu_si128(to,
                         _mm_or_si128(_mm_shuffle_epi8(a, first0), _mm_shuffle_epi8(b, first1)));
        _mm_storeu_si128(to + 1, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a, second0),
                                                           _mm_shuffle_epi8(b, second1)),
                                              _mm_shuffle_epi8(c, second2)));
        _mm_storeu_si128(to + 2,
                         _mm_or_si128(_mm_shuffle_epi8(b, third1), _mm_shuffle_epi8(c, third2)));
    }
    return x;
}

bool HaveByteShuffle() {
    static const bool have = __builtin_cpu_supports("ssse3");
    return have;
}
#endif
}  // namespace

namespace {
void SwapInPlace(uint8_t* pixels, size_t count) {
    size_t x = 0;
    for (; x + 8 <= count; x += 8) SwapEightPixels(pixels + 3 * x, pixels + 3 * x);
    for (; x < count; ++x) std::swap(pixels[3 * x], pixels[3 * x + 2]);
}
}  // namespace

void CopySwappingRedBluePortably(uint8_t* destination, const uint8_t* source, size_t pixels) {
    if (destination == source) return SwapInPlace(destination, pixels);
    // A plain copy reads a source that is not in the cache (a mapped file)
    // much faster than word-by-word swapping does, so the pixels are copied
    // a few kilobytes at a time and swapped in place while still cached.
    constexpr size_t kPiece = 1024;
    for (size_t x = 0; x < pixels; x += kPiece) {
        const size_t count = std::min(kPiece, pixels - x);
        std::memcpy(destination + 3 * x, source + 3 * x, 3 * count);
        SwapInPlace(destination + 3 * x, count);
    }
}

void CopySwappingRedBlue(uint8_t* destination, const uint8_t* source, size_t pixels) {
    size_t x = 0;
#ifdef VANTIREL_BYTE_SHUFFLE
    if (HaveByteShuffle()) x = SwapWithByteShuffles(destination, source, pixels);
#endif
    CopySwappingRedBluePortably(destination + 3 * x, source + 3 * x, pixels - x);
}

void SwapRedBlue(uint8_t* firstRow, int width, int stride, int rows) {
    if (width <= 0) return;
    for (int row = 0; row < rows; ++row) {
        uint8_t* pixels = firstRow + static_cast<ptrdiff_t>(row) * stride;
        CopySwappingRedBlue(pixels, pixels, static_cast<size_t>(width));
    }
}

void PlanesToPixels(uint8_t* destination, const uint8_t* firstPlane, int width,
                    ptrdiff_t planeDistance) {
    const uint8_t* first = firstPlane;
    const uint8_t* second = firstPlane + planeDistance;
    const uint8_t* third = firstPlane + 2 * planeDistance;
    for (int x = 0; x < width; ++x) {
        *destination++ = third[x];
        *destination++ = second[x];
        *destination++ = first[x];
    }
}

void BitPlanesToIndices(uint8_t* destination, const uint8_t* firstPlane, int width, int planes,
                        ptrdiff_t planeDistance) {
    if (width <= 0) return;
    const size_t padded = (static_cast<size_t>(width) + 7) & ~static_cast<size_t>(7);
    std::memset(destination, 0, padded);
    const size_t planeBytes = padded / 8;
    for (int plane = 0; plane < planes; ++plane) {
        const uint8_t* source = firstPlane + plane * planeDistance;
        const uint8_t bit = static_cast<uint8_t>(1u << plane);
        uint8_t* out = destination;
        for (size_t i = 0; i < planeBytes; ++i) {
            const unsigned byte = source[i];
            for (int b = 7; b >= 0; --b, ++out)
                if (byte & (1u << b)) *out |= bit;
        }
    }
}

void Unpack1Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes) {
    for (size_t i = 0; i < sourceBytes; ++i) {
        const unsigned byte = source[i];
        for (int b = 7; b >= 0; --b) *destination++ = static_cast<uint8_t>((byte >> b) & 1u);
    }
}

void Unpack2Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes) {
    for (size_t i = 0; i < sourceBytes; ++i) {
        const unsigned byte = source[i];
        *destination++ = static_cast<uint8_t>(byte >> 6);
        *destination++ = static_cast<uint8_t>((byte >> 4) & 3u);
        *destination++ = static_cast<uint8_t>((byte >> 2) & 3u);
        *destination++ = static_cast<uint8_t>(byte & 3u);
    }
}

void Unpack4Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes) {
    for (size_t i = 0; i < sourceBytes; ++i) {
        const unsigned byte = source[i];
        *destination++ = static_cast<uint8_t>(byte >> 4);
        *destination++ = static_cast<uint8_t>(byte & 15u);
    }
}
