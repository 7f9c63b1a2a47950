// Encoders for TIFF strip data written from the format's description, for
// tests that need strips of real pictures: LZW (TIFF flavour), PackBits and
// horizontal differencing. Also a small deterministic random source and a
// 64-bit FNV-1a hash for pinning large outputs.
#pragma once
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace test {

// xorshift64*: the same numbers on every platform and compiler.
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {}
    uint64_t Next() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return state_ * 0x2545F4914F6CDD1Dull;
    }
    // 0 .. bound - 1 (bound > 0).
    uint32_t Below(uint32_t bound) { return static_cast<uint32_t>((Next() >> 32) % bound); }
    uint8_t Byte() { return static_cast<uint8_t>(Next() >> 56); }

private:
    uint64_t state_;
};

// FNV-1a over bytes, 64 bits; Add chains several pieces into one value.
class Fnv64 {
public:
    Fnv64& Add(const uint8_t* bytes, size_t count) {
        for (size_t i = 0; i < count; ++i) hash_ = (hash_ ^ bytes[i]) * 0x100000001B3ull;
        return *this;
    }
    Fnv64& Add(const std::vector<uint8_t>& bytes) { return Add(bytes.data(), bytes.size()); }
    Fnv64& Add(uint64_t value) {
        for (int i = 0; i < 8; ++i) {
            const uint8_t byte = static_cast<uint8_t>(value >> (8 * i));
            Add(&byte, 1);
        }
        return *this;
    }
    uint64_t Value() const { return hash_; }

private:
    uint64_t hash_ = 0xCBF29CE484222325ull;
};

// Packs LZW codes most significant bit first at the width a TIFF decoder
// reads them: 9 bits after a clear code (256), one bit more as soon as the
// decoder's next free code reaches 511, 1023 and 2047. The decoder adds no
// entry for the first code after a clear, and none once 4096 entries exist.
inline std::vector<uint8_t> PackLzwCodes(const std::vector<unsigned>& codes) {
    std::vector<uint8_t> bytes;
    uint64_t buffer = 0;
    int count = 0;
    unsigned width = 9, next = 258;
    bool firstAfterClear = false;
    for (unsigned code : codes) {
        buffer = (buffer << width) | (code & ((1u << width) - 1));
        count += static_cast<int>(width);
        while (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<uint8_t>(buffer >> count));
        }
        if (code == 256) {
            width = 9;
            next = 258;
            firstAfterClear = true;
            continue;
        }
        if (code == 257) continue;
        if (firstAfterClear) {
            firstAfterClear = false;
            continue;
        }
        if (next < 4096) ++next;
        if (next >= (1u << width) - 1 && width < 12) ++width;
    }
    if (count > 0) bytes.push_back(static_cast<uint8_t>(buffer << (8 - count)));
    return bytes;
}

// The codes of a TIFF LZW encoding: a clear code first, a new clear before
// the table would pass 4093 entries, the end-of-information code last.
inline std::vector<unsigned> TiffLzwCodes(const uint8_t* data, size_t size) {
    std::vector<unsigned> codes{256};
    std::unordered_map<uint32_t, unsigned> table;
    unsigned next = 258;
    int current = -1;  // the code of the string matched so far
    for (size_t i = 0; i < size; ++i) {
        const uint8_t byte = data[i];
        if (current < 0) {
            current = byte;
            continue;
        }
        const uint32_t key = (static_cast<uint32_t>(current) << 8) | byte;
        const auto found = table.find(key);
        if (found != table.end()) {
            current = static_cast<int>(found->second);
            continue;
        }
        codes.push_back(static_cast<unsigned>(current));
        table[key] = next++;
        current = byte;
        if (next == 4093) {
            codes.push_back(static_cast<unsigned>(current));
            codes.push_back(256);
            table.clear();
            next = 258;
            current = -1;
        }
    }
    if (current >= 0) codes.push_back(static_cast<unsigned>(current));
    codes.push_back(257);
    return codes;
}

inline std::vector<uint8_t> TiffLzwEncode(const uint8_t* data, size_t size) {
    return PackLzwCodes(TiffLzwCodes(data, size));
}

// PackBits: runs of three or more equal bytes as repeat runs, the rest as
// literal runs, at most 128 bytes a run.
inline std::vector<uint8_t> PackBitsEncode(const uint8_t* data, size_t size) {
    std::vector<uint8_t> out;
    size_t i = 0;
    while (i < size) {
        size_t run = 1;
        while (i + run < size && run < 128 && data[i + run] == data[i]) ++run;
        if (run >= 3) {
            out.push_back(static_cast<uint8_t>(257 - run));
            out.push_back(data[i]);
            i += run;
            continue;
        }
        size_t literal = 0;
        while (i + literal < size && literal < 128) {
            if (i + literal + 2 < size && data[i + literal] == data[i + literal + 1] &&
                data[i + literal] == data[i + literal + 2])
                break;
            ++literal;
        }
        out.push_back(static_cast<uint8_t>(literal - 1));
        out.insert(out.end(), data + i, data + i + literal);
        i += literal;
    }
    return out;
}

// Horizontal differencing (TIFF predictor 2) of rows of `rowBytes` bytes
// with `samples` interleaved samples per pixel.
inline std::vector<uint8_t> HorizontalDifferences(const std::vector<uint8_t>& rows, size_t rowBytes,
                                                  size_t samples) {
    std::vector<uint8_t> out(rows);
    for (size_t start = 0; start + rowBytes <= rows.size(); start += rowBytes)
        for (size_t x = samples; x < rowBytes; ++x)
            out[start + x] = static_cast<uint8_t>(rows[start + x] - rows[start + x - samples]);
    return out;
}

}  // namespace test
