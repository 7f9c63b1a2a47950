// An in-memory TIFF file builder for tests: the header, data blocks in the
// order they are added, then one or more directories of hand-made entries.
#pragma once
#include <cstdint>
#include <vector>

namespace test {
namespace tiff {

// Field types.
constexpr uint16_t kByte = 1, kShort = 3, kLong = 4;
// Tags.
constexpr uint16_t kWidth = 256, kLength = 257, kBitsPerSample = 258, kCompression = 259,
                   kPhotometric = 262, kStripOffsets = 273, kSamplesPerPixel = 277,
                   kRowsPerStrip = 278, kStripByteCounts = 279, kPlanar = 284, kPredictor = 317,
                   kColorMap = 320;

// Builds a TIFF file: the 8-byte header, then the data blocks in the order
// they were added (so the first block starts at offset 8), then the
// directories, each pointing at the next.
class TiffBuilder {
public:
    explicit TiffBuilder(bool bigEndian = false) : bigEndian_(bigEndian) {
        directories_.emplace_back();
    }

    // Appends bytes to the data area; returns their offset in the file.
    uint32_t Data(const std::vector<uint8_t>& bytes) {
        const uint32_t at = 8 + static_cast<uint32_t>(data_.size());
        data_.insert(data_.end(), bytes.begin(), bytes.end());
        return at;
    }
    uint32_t Shorts(const std::vector<uint16_t>& values) {
        std::vector<uint8_t> bytes;
        for (uint16_t v : values) Put16(bytes, v);
        return Data(bytes);
    }
    uint32_t Longs(const std::vector<uint32_t>& values) {
        std::vector<uint8_t> bytes;
        for (uint32_t v : values) Put32(bytes, v);
        return Data(bytes);
    }

    // An entry whose value field holds one SHORT (type 3) or one LONG (any
    // other type).
    TiffBuilder& Entry(uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
        std::vector<uint8_t> field;
        if (type == kShort) {
            Put16(field, static_cast<uint16_t>(value));
            Put16(field, 0);
        } else {
            Put32(field, value);
        }
        return RawEntry(tag, type, count, field);
    }
    // An entry whose value field holds the LONG offset of its values,
    // whatever their type (as for three BitsPerSample SHORTs).
    TiffBuilder& OffsetEntry(uint16_t tag, uint16_t type, uint32_t count, uint32_t offset) {
        std::vector<uint8_t> field;
        Put32(field, offset);
        return RawEntry(tag, type, count, field);
    }
    // An entry with two SHORTs in its value field.
    TiffBuilder& TwoShorts(uint16_t tag, uint32_t count, uint16_t first, uint16_t second) {
        std::vector<uint8_t> field;
        Put16(field, first);
        Put16(field, second);
        return RawEntry(tag, kShort, count, field);
    }
    TiffBuilder& RawEntry(uint16_t tag, uint16_t type, uint32_t count, std::vector<uint8_t> field) {
        std::vector<uint8_t> entry;
        Put16(entry, tag);
        Put16(entry, type);
        Put32(entry, count);
        entry.insert(entry.end(), field.begin(), field.end());
        directories_.back().push_back(entry);
        return *this;
    }
    // The entries that follow go into a further directory (a second page).
    TiffBuilder& NextDirectory() {
        directories_.emplace_back();
        return *this;
    }

    std::vector<uint8_t> Build() const {
        std::vector<uint8_t> file;
        file.push_back(bigEndian_ ? 'M' : 'I');
        file.push_back(bigEndian_ ? 'M' : 'I');
        Put16(file, 42);
        Put32(file, static_cast<uint32_t>(8 + data_.size()));
        file.insert(file.end(), data_.begin(), data_.end());
        for (size_t d = 0; d < directories_.size(); ++d) {
            Put16(file, static_cast<uint16_t>(directories_[d].size()));
            for (const auto& entry : directories_[d])
                file.insert(file.end(), entry.begin(), entry.end());
            const bool last = d + 1 == directories_.size();
            Put32(file, last ? 0 : static_cast<uint32_t>(file.size() + 4));
        }
        return file;
    }

private:
    void Put16(std::vector<uint8_t>& out, uint16_t v) const {
        if (bigEndian_)
            out.insert(out.end(), {uint8_t(v >> 8), uint8_t(v)});
        else
            out.insert(out.end(), {uint8_t(v), uint8_t(v >> 8)});
    }
    void Put32(std::vector<uint8_t>& out, uint32_t v) const {
        if (bigEndian_) {
            Put16(out, static_cast<uint16_t>(v >> 16));
            Put16(out, static_cast<uint16_t>(v));
        } else {
            Put16(out, static_cast<uint16_t>(v));
            Put16(out, static_cast<uint16_t>(v >> 16));
        }
    }

    bool bigEndian_;
    std::vector<uint8_t> data_;
    std::vector<std::vector<std::vector<uint8_t>>> directories_;
};

}  // namespace tiff
}  // namespace test
