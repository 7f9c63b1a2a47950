// Bounded row access for the readers that trust their file's sizes: a source
// row is handed out whole (a zero-padded copy when the bytes run out) and a
// destination row is written in place when the pixel block has room for it,
// otherwise through a scratch row whose bytes are clipped to the block.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

class Image;

// A size computed in 64 bits as a 32-bit field: too large a value becomes
// the largest one, so the picture takes the out-of-memory path instead of
// wrapping into a small block.
inline int32_t SaturatedInt32(uint64_t value) {
    return value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

// A zeroed scratch block for a reader's unpacked data. Its size comes from
// the file, so it is taken in 64 bits; a block the system cannot give ends
// the program through the out-of-memory exit, as a pixel block does, and
// never in a smaller block or a thrown exception.
class ScratchBlock {
public:
    explicit ScratchBlock(uint64_t bytes);
    ~ScratchBlock();
    ScratchBlock(const ScratchBlock&) = delete;
    ScratchBlock& operator=(const ScratchBlock&) = delete;
    uint8_t* data() { return data_; }
    size_t size() const { return size_; }

private:
    uint8_t* data_;
    size_t size_;
};

// `need` bytes from `offset` of a source of `size` bytes: the source itself
// when they are all there, else a copy of what there is, padded with zeros.
const uint8_t* SourceBytes(const uint8_t* source, size_t size, uint64_t offset, size_t need,
                           std::vector<uint8_t>* spare);

// Copies `count` bytes into the pixel block at byte `offset`, dropping what
// would fall outside it.
void PutBytes(Image* image, uint64_t offset, const uint8_t* bytes, size_t count);

// Writes of whole unpacked rows that may run past a row's end (into the next
// row, or into the spare row for the last one) but never past the block.
class RowWriter {
public:
    explicit RowWriter(Image* image) : image_(image) {}
    // A place for `bytes` bytes starting at row `row`; Commit() finishes it.
    uint8_t* Begin(int row, size_t bytes);
    void Commit();

private:
    Image* image_;
    std::vector<uint8_t> spare_;
    uint64_t offset_ = 0;
    bool spareInUse_ = false;
};
