// Builds small JPEG files byte by byte for the decoder's tests: marker
// segments, and an entropy coder that writes chosen coefficients with chosen
// Huffman tables, so every test knows exactly which bits the decoder sees.
#pragma once
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace jpegtest {

using Bytes = std::vector<uint8_t>;

struct HuffDefinition {
    uint8_t counts[17] = {0};  // [1..16]
    std::vector<uint8_t> symbols;
};

// The example tables of the JPEG standard (luminance DC and AC).
inline HuffDefinition StandardDc() {
    HuffDefinition definition;
    const uint8_t counts[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
    for (int l = 1; l <= 16; ++l) definition.counts[l] = counts[l - 1];
    definition.symbols = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    return definition;
}

inline HuffDefinition StandardAc() {
    HuffDefinition definition;
    const uint8_t counts[16] = {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d};
    for (int l = 1; l <= 16; ++l) definition.counts[l] = counts[l - 1];
    definition.symbols = {
        0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61,
        0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52,
        0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72, 0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25,
        0x26, 0x27, 0x28, 0x29, 0x2a, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3a, 0x43, 0x44, 0x45,
        0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5a, 0x63, 0x64,
        0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x83,
        0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99,
        0x9a, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6,
        0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3,
        0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8,
        0xe9, 0xea, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa};
    return definition;
}

// Canonical code and length of every symbol of a table.
struct Codes {
    uint32_t code[256] = {0};
    int length[256] = {0};
    explicit Codes(const HuffDefinition& definition) {
        uint32_t c = 0;
        size_t p = 0;
        for (int l = 1; l <= 16; ++l) {
            for (int i = 0; i < definition.counts[l]; ++i, ++p) {
                code[definition.symbols[p]] = c++;
                length[definition.symbols[p]] = l;
            }
            c <<= 1;
        }
    }
};

// Writes bits most significant first; a 0xFF data byte gets its stuffed 0x00.
class BitWriter {
public:
    void Put(uint32_t bits, int count) {
        for (int i = count - 1; i >= 0; --i) {
            acc_ = (acc_ << 1) | ((bits >> i) & 1);
            if (++n_ == 8) Emit();
        }
    }
    // Pads the last byte with 1 bits.
    void Flush() {
        while (n_ != 0) Put(1, 1);
    }
    void Raw(const Bytes& bytes) { out_.insert(out_.end(), bytes.begin(), bytes.end()); }
    const Bytes& bytes() const { return out_; }

private:
    void Emit() {
        out_.push_back(static_cast<uint8_t>(acc_));
        if ((acc_ & 0xFF) == 0xFF) out_.push_back(0);
        acc_ = 0;
        n_ = 0;
    }
    Bytes out_;
    uint32_t acc_ = 0;
    int n_ = 0;
};

inline int Category(int value) {
    int magnitude = std::abs(value), s = 0;
    while (magnitude) {
        ++s;
        magnitude >>= 1;
    }
    return s;
}

inline void PutValue(BitWriter* w, int value, int s) {
    if (s == 0) return;
    const uint32_t bits =
        value >= 0 ? static_cast<uint32_t>(value) : static_cast<uint32_t>(value + (1 << s) - 1);
    w->Put(bits, s);
}

// One block: a DC difference and AC terms as (zig-zag index, value), in
// increasing index order. Ends with EOB unless the last term is at 63.
inline void EncodeBlock(BitWriter* w, const Codes& dc, const Codes& ac, int dcDifference,
                        const std::vector<std::pair<int, int>>& acTerms = {},
                        bool endOfBlock = true) {
    const int s = Category(dcDifference);
    w->Put(dc.code[s], dc.length[s]);
    PutValue(w, dcDifference, s);
    int k = 1;
    for (const auto& term : acTerms) {
        int run = term.first - k;
        while (run > 15) {
            w->Put(ac.code[0xF0], ac.length[0xF0]);
            run -= 16;
        }
        const int size = Category(term.second);
        const int rs = (run << 4) | size;
        w->Put(ac.code[rs], ac.length[rs]);
        PutValue(w, term.second, size);
        k = term.first + 1;
    }
    if (k <= 63 && endOfBlock) w->Put(ac.code[0x00], ac.length[0x00]);
}

inline void Append(Bytes* out, const Bytes& more) {
    out->insert(out->end(), more.begin(), more.end());
}

inline Bytes Segment(uint8_t marker, const Bytes& body) {
    Bytes out = {0xFF, marker, static_cast<uint8_t>((body.size() + 2) >> 8),
                 static_cast<uint8_t>((body.size() + 2) & 0xFF)};
    Append(&out, body);
    return out;
}

inline Bytes Soi() { return {0xFF, 0xD8}; }
inline Bytes Eoi() { return {0xFF, 0xD9}; }

inline Bytes Dqt(int table, uint8_t value) {
    Bytes body = {static_cast<uint8_t>(table)};
    for (int k = 0; k < 64; ++k) body.push_back(value);
    return Segment(0xDB, body);
}

inline Bytes Dht(int tableClass, int index, const HuffDefinition& definition) {
    Bytes body = {static_cast<uint8_t>((tableClass << 4) | index)};
    for (int l = 1; l <= 16; ++l) body.push_back(definition.counts[l]);
    body.insert(body.end(), definition.symbols.begin(), definition.symbols.end());
    return Segment(0xC4, body);
}

struct FrameComponent {
    uint8_t id;
    int h, v, quantTable;
};

inline Bytes Sof(uint8_t marker, int width, int height,
                 const std::vector<FrameComponent>& components, int precision = 8) {
    Bytes body = {static_cast<uint8_t>(precision), static_cast<uint8_t>(height >> 8),
                  static_cast<uint8_t>(height),    static_cast<uint8_t>(width >> 8),
                  static_cast<uint8_t>(width),     static_cast<uint8_t>(components.size())};
    for (const FrameComponent& c : components) {
        body.push_back(c.id);
        body.push_back(static_cast<uint8_t>((c.h << 4) | c.v));
        body.push_back(static_cast<uint8_t>(c.quantTable));
    }
    return Segment(marker, body);
}

// Components named by identifier, all with DC and AC table 0.
inline Bytes Sos(const std::vector<uint8_t>& ids) {
    Bytes body = {static_cast<uint8_t>(ids.size())};
    for (uint8_t id : ids) {
        body.push_back(id);
        body.push_back(0x00);
    }
    body.push_back(0);
    body.push_back(63);
    body.push_back(0);
    return Segment(0xDA, body);
}

inline Bytes Dri(int interval) {
    return Segment(0xDD, {static_cast<uint8_t>(interval >> 8), static_cast<uint8_t>(interval)});
}

inline Bytes Jfif(int major) {
    return Segment(0xE0,
                   {'J', 'F', 'I', 'F', 0, static_cast<uint8_t>(major), 1, 0, 0, 1, 0, 1, 0, 0});
}

// Everything up to and including SOS for a picture whose components all use
// quantisation table 0 (every entry `quant`) and the standard tables.
inline Bytes Header(int width, int height, const std::vector<FrameComponent>& components,
                    uint8_t quant = 1, const Bytes& extra = {}) {
    Bytes out = Soi();
    Append(&out, Dqt(0, quant));
    Append(&out, Sof(0xC0, width, height, components));
    Append(&out, Dht(0, 0, StandardDc()));
    Append(&out, Dht(1, 0, StandardAc()));
    Append(&out, extra);
    std::vector<uint8_t> ids;
    for (const FrameComponent& c : components) ids.push_back(c.id);
    Append(&out, Sos(ids));
    return out;
}

// A complete picture: header, then the given entropy-coded bytes and EOI.
inline Bytes Picture(const Bytes& header, const BitWriter& scan) {
    Bytes out = header;
    Append(&out, scan.bytes());
    Append(&out, Eoi());
    return out;
}

}  // namespace jpegtest
