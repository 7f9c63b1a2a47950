#include "jpeg/Huffman.h"

#include <algorithm>
#include <cstring>

#include "core/Platform.h"
#include "jpeg/Markers.h"
#include "jpeg/ZigZag.h"

namespace jpeg {
namespace {

constexpr int kLookSize = 1 << kLookBits;
// Refilling tops the accumulator up to at least 57 bits; below 33 it is
// refilled, which is enough for a 17-bit code and 16 value bits.
constexpr int kRefillBelow = 33;

inline void Consume(BitReader* r, int count) {
    r->acc <<= count;
    r->bits -= count;
}

// The next `count` bits (1..32) as a number.
inline uint32_t Peek(const BitReader* r, int count) {
    return static_cast<uint32_t>(r->acc >> (64 - count));
}

inline void Refill(BitReader* r) {
    if (r->position + 8 <= r->size) {
        uint64_t word;
        std::memcpy(&word, r->data + r->position, 8);
        // No 0xFF among the next eight bytes: take as many whole ones as
        // fit in one go (the word is read in memory order on a
        // little-endian machine and turned most significant byte first).
        const uint64_t inverted = ~word;
        if (((inverted - 0x0101010101010101ull) & ~inverted & 0x8080808080808080ull) == 0) {
            const int count = (64 - r->bits) >> 3;
            word = __builtin_bswap64(word) & (~0ull << (64 - 8 * count));
            r->acc |= word >> r->bits;
            r->bits += 8 * count;
            r->position += static_cast<size_t>(count);
            return;
        }
    }
    while (r->bits <= 56) {
        const uint64_t byte = r->position < r->size ? r->data[r->position] : 0;
        // The byte after a 0xFF (the stuffed zero, or a marker's code) is
        // never data.
        r->position += byte == 0xFF ? 2 : 1;
        r->acc |= byte << (56 - r->bits);
        r->bits += 8;
    }
}

// Beyond the lookahead: one more bit at a time against the largest code of
// each length, up to the 17-bit stop.
inline int SlowSymbol(BitReader* r, const HuffTable* t, int32_t code) {
    int l = kLookBits;
    do {
        ++l;
        code = code * 2 + static_cast<int32_t>((r->acc >> (64 - l)) & 1);
    } while (code > t->largest[l] && l < 17);
    Consume(r, l);
    return t->symbols[(t->firstSymbol[l] + code - t->smallest[l]) & 255];
}

inline int DecodeSymbol(BitReader* r, const HuffTable* t) {
    const uint32_t look = Peek(r, kLookBits);
    const uint32_t entry = t->look[look];
    if (entry) {
        Consume(r, static_cast<int>(entry >> 8));
        return static_cast<int>(entry & 255);
    }
    return SlowSymbol(r, t, static_cast<int32_t>(look));
}

// A received s-bit value below 2^(s-1) stands for a negative number.
inline int32_t Extend(uint32_t value, int s) {
    return value < (1u << (s - 1)) ? static_cast<int32_t>(value) - ((1 << s) - 1)
                                   : static_cast<int32_t>(value);
}

// The DC term: its difference added to the predictor.
inline void DecodeDc(BitReader* r, const HuffTable* dc, int32_t* predictor) {
    if (r->bits < kRefillBelow) Refill(r);
    const int s = DecodeSymbol(r, dc);
    if (s) {
        int32_t difference;
        if (s <= 16) {
            if (r->bits < 16) Refill(r);
            difference = Extend(Peek(r, s), s);
            Consume(r, s);
        } else {
            // A DC magnitude category above 16 only comes from a corrupt
            // table: its bits are consumed and the last 16 taken as the value.
            int left = s;
            uint32_t value = 0;
            while (left > 0) {
                if (r->bits < kRefillBelow) Refill(r);
                const int take = left < 16 ? left : 16;
                value = (value << take) | Peek(r, take);
                Consume(r, take);
                left -= take;
            }
            difference = Extend(value & 0xFFFF, 16);
        }
        *predictor = static_cast<int32_t>(static_cast<uint32_t>(*predictor) +
                                          static_cast<uint32_t>(difference));
    }
}

// The AC terms of a block stepped over: only where they end in the bits
// matters. Runs of terms go a skip-table lookup at a time; a term the table
// does not hold whole, or a run that could carry the index past the last
// coefficient, goes a symbol at a time as the full decode takes it.
inline void SkipAc(BitReader* r, const HuffTable* ac) {
    const uint16_t* const skip = ac->skipAc;
    // The bits are checked once for two lookups: a refill leaves at least
    // 57. (A third lookup per check measured no faster.)
    constexpr int kLookups = 2, kRefillForLookups = kLookups * kSkipBits + 1;
    static_assert(kRefillForLookups <= 57, "a refill must cover the lookups");
    int k = 1;
    while (k < 64) {
        if (r->bits < kRefillForLookups) Refill(r);
        int lookup = 0;
        for (; lookup < kLookups; ++lookup) {
            const uint32_t entry = skip[Peek(r, kSkipBits)];
            if (k + static_cast<int>((entry >> 6) & 127) > 64) break;
            // The length is the entry's low six bits: the shift takes them
            // as they are.
            Consume(r, static_cast<int>(entry & 63));
            k += static_cast<int>(entry >> 6);
            if (k >= 64) return;
        }
        if (lookup == kLookups) continue;
        if (r->bits < kRefillBelow) Refill(r);
        const int rs = DecodeSymbol(r, ac);
        const int s = rs & 15;
        if (s == 0) {
            if ((rs >> 4) != 15) break;
            k += 16;
            continue;
        }
        Consume(r, s);
        k += (rs >> 4) + 1;
    }
}

template <bool kStoreAc>
int DecodeBlockT(BitReader* reader, const HuffTable* dc, const HuffTable* ac, int32_t* predictor,
                 int32_t* block) {
    // The reader lives in the decoder's state, which the compiler cannot
    // tell apart from the block; a copy keeps it in registers.
    BitReader r = *reader;
    DecodeDc(&r, dc, predictor);
    block[0] = *predictor;
    if (!kStoreAc) {
        SkipAc(&r, ac);
        *reader = r;
        return 0;
    }

    const FastAcEntry* const fastAc = ac->fastAc;
    int last = 0;
    for (int k = 1; k < 64; ++k) {
        if (r.bits < kRefillBelow) Refill(&r);
        const FastAcEntry entry = fastAc[Peek(&r, kLookBits)];
        if (entry.length) {
            Consume(&r, entry.length);
            // End of block carries a run that takes k past 63.
            k += entry.run;
            if (entry.value) {  // zero only for ZRL and end of block
                block[kZigZagToNatural[k]] = entry.value;
                last = k;
            }
            continue;
        }
        const int rs = DecodeSymbol(&r, ac);
        const int run = rs >> 4;
        const int s = rs & 15;
        if (s == 0) {
            if (run != 15) break;
            k += 15;
            continue;
        }
        k += run;
        const int32_t value = Extend(Peek(&r, s), s);
        Consume(&r, s);
        block[kZigZagToNatural[k]] = value;
        last = k;
    }
    *reader = r;
    return last > 63 ? 63 : last;
}

void DeriveSkipTable(HuffTable* t) {
    // First the single term each prefix begins with: its bits, bits 0-4;
    // its zig-zag advance, bits 5-9; end of block, bit 10; 0 when the term
    // does not fit. A term that fits within the first n bits is found the
    // same whatever follows them, so a prefix shifted left by the bits
    // already used finds the next term, when that one fits in what is left.
    //
    // The bit-at-a-time procedure stops at the first length l whose l-bit
    // head h of the prefix is no larger than largest[l], that is where the
    // prefix is below (largest[l] + 1) << (kSkipBits - l): each length takes
    // the prefixes from where the shorter ones ended up to its own end, in
    // runs of one code each.
    uint16_t single[1 << kSkipBits];
    constexpr int64_t kPrefixes = int64_t{1} << kSkipBits;
    int64_t resolved = 0;
    for (int l = 1; l <= kSkipBits; ++l) {
        if (t->largest[l] < 0) continue;
        const int64_t end =
            std::min(kPrefixes, (static_cast<int64_t>(t->largest[l]) + 1) << (kSkipBits - l));
        while (resolved < end) {
            const int64_t code = resolved >> (kSkipBits - l);
            const int64_t codeEnd = std::min(end, (code + 1) << (kSkipBits - l));
            const int symbol =
                t->symbols[(t->firstSymbol[l] + static_cast<int32_t>(code) - t->smallest[l]) & 255];
            const int run = symbol >> 4, s = symbol & 15;
            uint16_t term = 0;
            if (s == 0 && run != 15)
                term = static_cast<uint16_t>(l | 1 << 10);
            else if (l + s <= kSkipBits)
                term = static_cast<uint16_t>((l + s) | (s == 0 ? 16 : run + 1) << 5);
            for (; resolved < codeEnd; ++resolved) single[resolved] = term;
        }
    }
    for (; resolved < kPrefixes; ++resolved) single[resolved] = 0;
    constexpr uint32_t kMask = (1u << kSkipBits) - 1;
    for (uint32_t prefix = 0; prefix < (1u << kSkipBits); ++prefix) {
        int used = 0, advance = 0;
        bool endOfBlock = false;
        while (used < kSkipBits) {
            const uint32_t term = single[(prefix << used) & kMask];
            const int length = static_cast<int>(term & 31);
            if (length == 0 || used + length > kSkipBits) break;
            if (term & (1 << 10)) {  // nothing after it matters
                used += length;
                endOfBlock = true;
                break;
            }
            // The advance stops at 64 (the first term's is at most 16): a
            // run of terms that reaches it is never taken whole.
            const int step = static_cast<int>((term >> 5) & 31);
            if (advance + step > 64) break;
            used += length;
            advance += step;
        }
        if (used == 0) {
            t->skipAc[prefix] = kSkipNothing << 6;
        } else if (endOfBlock) {
            t->skipAc[prefix] = static_cast<uint16_t>(used | (advance + 1) << 6 | 1 << 15);
        } else {
            t->skipAc[prefix] = static_cast<uint16_t>(used | advance << 6);
        }
    }
}

}  // namespace

void DeriveTable(HuffTable* t, bool skipTable) {
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
    if (skipTable) {
        DeriveSkipTable(t);
    } else {
        // Nothing resolved: a DC-only decode would still be exact, a symbol
        // at a time.
        for (uint16_t& entry : t->skipAc) entry = kSkipNothing << 6;
    }
}

void StartBits(BitReader* reader, const uint8_t* data, size_t size, size_t position) {
    reader->data = data;
    reader->size = size;
    reader->position = position;
    reader->start = position;
    reader->acc = 0;
    reader->bits = 0;
}

size_t BitCursor(const BitReader* reader, bool* partlyUsed) {
    // The unconsumed bits are the last data bytes loaded, up to eight of
    // them: the cursor is that many data bytes before the load position.
    // Data bytes are found walking forwards from one known to be data: the
    // start, or any byte whose predecessor is not 0xFF (a plain byte is
    // followed by data, and so is the byte skipped after a 0xFF). Bytes past
    // the end count as zeros, one position each.
    const uint8_t* const data = reader->data;
    const size_t size = reader->size, start = reader->start, position = reader->position;
    auto step = [&](size_t at) -> size_t { return at < size && data[at] == 0xFF ? 2 : 1; };
    const size_t back = static_cast<size_t>(reader->bits + 7) / 8;
    // Each data byte takes at most two positions, so twice as many
    // positions back there are enough of them.
    size_t from = position - start > 2 * back ? position - 2 * back : start;
    while (from > start && from - 1 < size && data[from - 1] == 0xFF) --from;
    size_t count = 0;
    for (size_t at = from; at < position; at += step(at)) ++count;
    size_t cursor = from;
    for (size_t i = back; i < count; ++i) cursor += step(cursor);
    *partlyUsed = reader->bits % 8 != 0;
    return cursor;
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
    unsigned dcUsed = 0, acUsed = 0;
    for (int i = 0; i < state->scanCount + frameCount; ++i) {
        const JpegComponent* component = i < state->scanCount
                                             ? state->scanComponents[i]
                                             : state->components[i - state->scanCount];
        // Table numbers are four bits in SOS; only 0..3 exist.
        dcUsed |= 1u << (component->dcTable & 3);
        acUsed |= 1u << (component->acTable & 3);
    }
    // Each table once; only the one-eighth decode skips AC terms.
    for (int t = 0; t < 4; ++t) {
        if (dcUsed & (1u << t)) DeriveTable(&state->dcTables[t], false);
        if (acUsed & (1u << t)) DeriveTable(&state->acTables[t], state->dcOnly != 0);
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
