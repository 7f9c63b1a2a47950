// A read position over mapped file bytes. Every read is bounds-checked here
// and nowhere else: past the end, reads yield zeros and set a sticky flag, so
// a reader can parse a truncated header in one go and look at Overrun() once.
#pragma once
#include <cstddef>
#include <cstdint>

class ByteCursor {
public:
    ByteCursor(const uint8_t* data, size_t size, size_t position = 0)
        : data_(data), size_(size), position_(position) {}

    const uint8_t* Data() const { return data_; }
    size_t Size() const { return size_; }
    size_t Position() const { return position_; }
    void Seek(size_t position) { position_ = position; }
    void Skip(size_t count) {
        position_ = count > SIZE_MAX - position_ ? SIZE_MAX : position_ + count;
    }
    size_t Remaining() const { return position_ < size_ ? size_ - position_ : 0; }
    bool AtEnd() const { return position_ >= size_; }
    bool Overrun() const { return overrun_; }
    // Pointer to the current position, valid for Remaining() bytes.
    const uint8_t* Here() const { return data_ + (position_ < size_ ? position_ : size_); }

    uint8_t U8() {
        if (position_ >= size_) {
            overrun_ = true;
            return 0;
        }
        return data_[position_++];
    }
    uint16_t LE16() {
        const unsigned lo = U8();
        return static_cast<uint16_t>(lo | (static_cast<unsigned>(U8()) << 8));
    }
    uint32_t LE32() {
        const uint32_t lo = LE16();
        return lo | (static_cast<uint32_t>(LE16()) << 16);
    }
    uint16_t BE16() {
        const unsigned hi = U8();
        return static_cast<uint16_t>((hi << 8) | U8());
    }
    uint32_t BE32() {
        const uint32_t hi = BE16();
        return (hi << 16) | BE16();
    }
    // Copies up to `count` bytes; returns how many were there.
    size_t Read(uint8_t* out, size_t count);

    // Absolute-offset peeks that do not move the cursor (zeros past the end).
    uint8_t ByteAt(size_t offset) const { return offset < size_ ? data_[offset] : 0; }
    uint16_t LE16At(size_t offset) const {
        return static_cast<uint16_t>(ByteAt(offset) | (ByteAt(offset + 1) << 8));
    }
    uint32_t LE32At(size_t offset) const {
        return LE16At(offset) | (static_cast<uint32_t>(LE16At(offset + 2)) << 16);
    }

private:
    const uint8_t* data_;
    size_t size_;
    size_t position_;
    bool overrun_ = false;
};

inline size_t ByteCursor::Read(uint8_t* out, size_t count) {
    const size_t available = count < Remaining() ? count : Remaining();
    for (size_t i = 0; i < available; ++i) out[i] = data_[position_ + i];
    Skip(count);
    if (available < count) overrun_ = true;
    return available;
}
