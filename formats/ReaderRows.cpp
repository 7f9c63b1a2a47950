#include "formats/ReaderRows.h"

#include <cstdlib>
#include <cstring>

#include "core/Image.h"
#include "core/Platform.h"

ScratchBlock::ScratchBlock(uint64_t bytes) : data_(nullptr), size_(0) {
    if (bytes > SIZE_MAX / 2) platform::FatalExit("EXIT: Out of memory");
    size_ = static_cast<size_t>(bytes);
    data_ = static_cast<uint8_t*>(std::calloc(size_ ? size_ : 1, 1));
    if (!data_) platform::FatalExit("EXIT: Out of memory");
}

ScratchBlock::~ScratchBlock() { std::free(data_); }

const uint8_t* SourceBytes(const uint8_t* source, size_t size, uint64_t offset, size_t need,
                           std::vector<uint8_t>* spare) {
    if (offset <= size && need <= size - offset) return source + offset;
    spare->assign(need, 0);
    if (offset < size) std::memcpy(spare->data(), source + offset, static_cast<size_t>(size - offset));
    return spare->data();
}

void PutBytes(Image* image, uint64_t offset, const uint8_t* bytes, size_t count) {
    const uint64_t blockBytes = image->PixelBytes();
    if (count == 0 || offset >= blockBytes) return;
    if (count > blockBytes - offset) count = static_cast<size_t>(blockBytes - offset);
    std::memmove(image->pixels + offset, bytes, count);
}

uint8_t* RowWriter::Begin(int row, size_t bytes) {
    offset_ = row < 0 || image_->stride < 0
                  ? UINT64_MAX
                  : static_cast<uint64_t>(row) * static_cast<uint64_t>(image_->stride);
    if (offset_ <= image_->PixelBytes() && bytes <= image_->PixelBytes() - offset_) {
        spareInUse_ = false;
        return image_->pixels + offset_;
    }
    spareInUse_ = true;
    spare_.assign(bytes, 0);
    return spare_.data();
}

void RowWriter::Commit() {
    if (spareInUse_) PutBytes(image_, offset_, spare_.data(), spare_.size());
    spareInUse_ = false;
}
