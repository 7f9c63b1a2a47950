#include "jpeg/Huffman.h"

#include <cstring>

#include "core/Platform.h"
#include "jpeg/Markers.h"
#include "jpeg/ZigZag.h"

namespace jpeg {
namespace {

constexpr int kLookSize = 1 << kLookBits;
// The accumulator keeps at most 57 bits so that the partly used byte is
// always whole in it; refilling tops it up to at least 50.
constexpr int kRefillBelow = 33;  // enough for a 17-bit code and 16 value bits

inline void Refill(BitReader* r) {
    if (r->position + 8 <= r->size) {
        uint64_t word;
        std::memcpy(&word, r->data + r->position, 8);
        // No 0xFF among the next eight bytes: take them in one go (the
        // word is read in memory order on a little-endian machine and
        // turned most significant byte first).
        const uint64_t inverted = ~word;
        if (((inverted - 0x0101010101010101ull) & ~inverted & 0x8080808080808080ull) == 0) {
            word = __builtin_bswap64(word);
            const int count = (57 - r->bits) >> 3;
            r->acc = (r->acc << (8 * count)) | (word >> (64 - 8 * count));
            r->bits += 8 * count;
            r->position += static_cast<size_t>(count);
            return;
        }
    }
    while (r->bits <= 49) {
        const uint32_t byte = r->position < r->size ? r->data[r->position] : 0;
        // The byte after a 0xFF (the stuffed zero, or a marker's code) is
        // never data.
        r->position += byte == 0xFF ? 2 : 1;
        r->acc = (r->acc << 8) | byte;
        r->bits += 8;
    }
}

inline int SlowSymbol(uint64_t acc, int* bits, const HuffTable* t, int32_t code) {
    int l = kLookBits;
    do {
        ++l;
        code = code * 2 + static_cast<int32_t>((acc >> (*bits - l)) & 1);
    } while (code > t->largest[l] && l < 17);
    *bits -= l;
    return t->symbols[(t->firstSymbol[l] + code - t->smallest[l]) & 255];
}

inline int DecodeSymbol(uint64_t acc, int* bits, const HuffTable* t) {
    const uint32_t look = static_cast<uint32_t>(acc >> (*bits - kLookBits)) & (kLookSize - 1);
    const uint32_t entry = t->look[look];
    if (entry) {
        *bits -= static_cast<int>(entry >> 8);
        return static_cast<int>(entry & 255);
    }
    return SlowSymbol(acc, bits, t, static_cast<int32_t>(look));
}

// A received s-bit value below 2^(s-1) stands for a negative number.
inline int32_t Extend(uint32_t value, int s) {
    return value < (1u << (s - 1)) ? static_cast<int32_t>(value) - ((1 << s) - 1)
                                   : static_cast<int32_t>(value);
}

template <bool kStoreAc>
int DecodeBlockT(BitReader* r, const HuffTable* dc, const HuffTable* ac, int32_t* predictor,
                 int32_t* block) {
    if (r->bits < kRefillBelow) Refill(r);
    int s = DecodeSymbol(r->acc, &r->bits, dc);
    if (s) {
        int32_t difference;
        if (s <= 16) {
            if (r->bits < 16) Refill(r);
            r->bits -= s;
            difference = Extend(static_cast<uint32_t>(r->acc >> r->bits) & ((1u << s) - 1), s);
        } else {
            // A DC magnitude category above 16 only comes from a corrupt
            // table: its bits are consumed and the last 16 taken as the value.
            int left = s;
            uint32_t value = 0;
            while (left > 0) {
                if (r->bits < kRefillBelow) Refill(r);
                const int take = left < 16 ? left : 16;
                r->bits -= take;
                value = (value << take) |
                        (static_cast<uint32_t>(r->acc >> r->bits) & ((1u << take) - 1));
                left -= take;
            }
            difference = Extend(value & 0xFFFF, 16);
        }
        *predictor = static_cast<int32_t>(static_cast<uint32_t>(*predictor) +
                                          static_cast<uint32_t>(difference));
    }
    block[0] = *predictor;

    int last = 0;
    uint64_t acc = r->acc;
    int bits = r->bits;
    for (int k = 1; k < 64; ++k) {
        if (bits < kRefillBelow) {
            r->bits = bits;
            Refill(r);
            acc = r->acc;
            bits = r->bits;
        }
        const uint32_t look = static_cast<uint32_t>(acc >> (bits - kLookBits)) & (kLookSize - 1);
        const FastAcEntry entry = ac->fastAc[look];
        if (entry.length) {
            bits -= entry.length;
            if (entry.run == kFastEob) break;
            k += entry.run;
            if (entry.value) {  // zero only for ZRL
                if (kStoreAc) block[kZigZagToNatural[k]] = entry.value;
                last = k;
            }
            continue;
        }
        const int rs = DecodeSymbol(acc, &bits, ac);
        const int run = rs >> 4;
        s = rs & 15;
        if (s == 0) {
            if (run != 15) break;
            k += 15;
            continue;
        }
        k += run;
        bits -= s;
        const int32_t value = Extend(static_cast<uint32_t>(acc >> bits) & ((1u << s) - 1), s);
        if (kStoreAc) block[kZigZagToNatural[k]] = value;
        last = k;
    }
    r->acc = acc;
    r->bits = bits;
    return last > 63 ? 63 : last;
}

}  // namespace

void DeriveTable(HuffTable* t) {
    // Canonical codes: consecutive values within a length, doubled when the
    // length grows.
    int32_t codes[257];
    int p = 0;
    int32_t code = 0;
    for (int l = 1; l <= 16; ++l) {
        for (int i = 0; i < t->counts[l]; ++i) codes[p++] = code++;
        code *= 2;
    }
    p = 0;
    for (int l = 1; l <= 16; ++l) {
        if (t->counts[l] > 0) {
            t->firstSymbol[l] = static_cast<uint8_t>(p);
            t->smallest[l] = codes[p];
            p += t->counts[l];
            t->largest[l] = codes[p - 1];
        } else {
            t->firstSymbol[l] = 0;
            t->smallest[l] = 0;
            t->largest[l] = -1;
        }
    }
    // After 17 bits every code stops; a length-17 "code" indexes the symbols
    // by its low byte.
    t->firstSymbol[17] = 0;
    t->smallest[17] = 0;
    t->largest[17] = 0xFFFFF;

    // Lookahead: run the bit-at-a-time procedure over every kLookBits-bit
    // prefix and keep what it resolves within those bits.
    for (uint32_t look = 0; look < kLookSize; ++look) {
        t->look[look] = 0;
        t->fastAc[look] = FastAcEntry{0, 0, 0};
        int32_t c = 0;
        int l = 0;
        do {
            ++l;
            c = c * 2 + static_cast<int32_t>((look >> (kLookBits - l)) & 1);
        } while (c > t->largest[l] && l < kLookBits);
        if (c > t->largest[l]) continue;
        const int symbol = t->symbols[(t->firstSymbol[l] + c - t->smallest[l]) & 255];
        t->look[look] = static_cast<uint16_t>((l << 8) | symbol);
        const int run = symbol >> 4, s = symbol & 15;
        if (s == 0) {
            t->fastAc[look] = FastAcEntry{0, static_cast<uint8_t>(run == 15 ? 15 : kFastEob),
                                          static_cast<uint8_t>(l)};
        } else if (l + s <= kLookBits) {
            const uint32_t value = (look >> (kLookBits - l - s)) & ((1u << s) - 1);
            t->fastAc[look] = FastAcEntry{static_cast<int16_t>(Extend(value, s)),
                                          static_cast<uint8_t>(run), static_cast<uint8_t>(l + s)};
        }
    }
}

void StartBits(BitReader* reader, const uint8_t* data, size_t size, size_t position) {
    reader->data = data;
    reader->size = size;
    reader->position = position;
    reader->acc = 0;
    reader->bits = 0;
}

size_t BitCursor(const BitReader* reader, bool* partlyUsed) {
    // Step back over the bytes loaded but not touched yet; each 0xFF among
    // them had its following byte skipped as well.
    size_t position = reader->position;
    const int whole = reader->bits / 8;
    for (int j = 0; j < whole; ++j) {
        const unsigned byte = static_cast<unsigned>(reader->acc >> (8 * j)) & 0xFF;
        position -= byte == 0xFF ? 2 : 1;
    }
    *partlyUsed = (reader->bits % 8) != 0;
    if (*partlyUsed) {
        const unsigned byte = static_cast<unsigned>(reader->acc >> (8 * whole)) & 0xFF;
        position -= byte == 0xFF ? 2 : 1;
    }
    return position;
}

int DecodeBlock(BitReader* reader, const HuffTable* dc, const HuffTable* ac, int32_t* predictor,
                int32_t* block, bool storeAc) {
    return storeAc ? DecodeBlockT<true>(reader, dc, ac, predictor, block)
                   : DecodeBlockT<false>(reader, dc, ac, predictor, block);
}

bool HuffStartOfScan(JpegState* state) {
    // The tables named by the scan; blocks are decoded with the tables of
    // their frame component, so a component the scan names twice in place
    // of another still finds derived tables.
    const int frameCount =
        state->componentCount < kMaxComponents ? state->componentCount : kMaxComponents;
    for (int i = 0; i < state->scanCount + frameCount; ++i) {
        const JpegComponent* component = i < state->scanCount
                                             ? state->scanComponents[i]
                                             : state->components[i - state->scanCount];
        // Table numbers are four bits in SOS; only 0..3 exist.
        DeriveTable(&state->dcTables[component->dcTable & 3]);
        DeriveTable(&state->acTables[component->acTable & 3]);
    }
    for (int32_t& predictor : state->dcPredictor) predictor = 0;
    state->mcusToRestart = state->restartInterval;
    state->nextRestart = 0;
    StartBits(&state->reader, state->data, state->size, state->cursor);
    return true;
}

void ProcessRestart(JpegState* state) {
    bool partlyUsed;
    size_t cursor = BitCursor(&state->reader, &partlyUsed);
    // A partly used byte is stepped over as it is, even a 0xFF.
    if (partlyUsed) ++cursor;
    const int marker = NextMarker(state->data, state->size, &cursor);
    // Bytes that run out before the marker are a truncated file: the rest
    // decodes from zero bits rather than ending the program.
    if (marker != kNoMarker && marker != kRST0 + state->nextRestart)
        platform::FatalExit("EXIT: Incorrect RST marker");
    for (int32_t& predictor : state->dcPredictor) predictor = 0;
    state->mcusToRestart = state->restartInterval;
    state->nextRestart = (state->nextRestart + 1) & 7;
    StartBits(&state->reader, state->data, state->size, cursor);
}

void HuffDecodeMcu(JpegState* state, int32_t* coefficients) {
    if (state->restartInterval) {
        if (state->mcusToRestart == 0) ProcessRestart(state);
        --state->mcusToRestart;
    }
    const bool storeAc = !state->dcOnly;
    for (int b = 0; b < state->blocksPerMcu; ++b) {
        const int c = state->mcuMembership[b];
        const JpegComponent* component = state->components[c];
        state->lastIndex[b] = DecodeBlock(&state->reader, &state->dcTables[component->dcTable & 3],
                                          &state->acTables[component->acTable & 3],
                                          &state->dcPredictor[c], coefficients + 64 * b, storeAc);
    }
}

bool HuffEndOfScan(JpegState* state) {
    bool partlyUsed;
    const size_t cursor = BitCursor(&state->reader, &partlyUsed);
    state->cursor = partlyUsed ? cursor + 1 : cursor;
    return true;
}

}  // namespace jpeg
