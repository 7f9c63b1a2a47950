// Three-component pictures whose luma is full size and whose two chroma
// components share sampling factors at most halved in each direction (4:4:4,
// 4:2:2, 4:4:0, 4:2:0 and the like) decode one MCU row at a time into small
// component strips. Each finished band of picture rows is then upsampled,
// assembled into 3-byte pixels and, when the loader asked for it, converted
// to blue, green, red, while it is still in the cache. The bytes are those of
// the in-place road (transforms into the picture, PostExpand, then the
// conversion by Load): the same filters on the same samples, the padding
// columns and rows left as YCbCr.
#pragma once
#include <cstddef>
#include <cstdint>

#include "jpeg/JpegState.h"

namespace jpeg {

class Bands {
public:
    // Whether the picture's layout is one the bands handle (and the decode
    // is a full one, not the one-eighth decode).
    static bool Apply(const JpegState* state);

    explicit Bands(JpegState* state);
    ~Bands();
    Bands(const Bands&) = delete;
    Bands& operator=(const Bands&) = delete;
    // False when the strips could not be allocated: the in-place road then
    // decodes the picture.
    bool Ready() const { return ready_; }

    // Where frame component c's blocks of the MCU row being decoded go.
    uint8_t* StripBase(int c) const { return strips_[c].base; }
    ptrdiff_t StripStride(int c) const { return strips_[c].stride; }

    // Called after MCU row r has been decoded into the strips: writes every
    // picture row that is complete (the last row of a band waits for the
    // next band's first chroma samples when the vertical filter needs them).
    void McuRowDone(int32_t r);

private:
    struct ComponentStrip {
        uint8_t* base;
        ptrdiff_t stride;
        int samples;  // per strip row
    };
    // A chroma component's horizontally expanded rows: [0] the previous
    // band's last, [1..n] this band's, [n + 1] the next band's first.
    static constexpr int kMaxSampleRows = 8 * 4;
    struct Expanded {
        uint8_t* rows[kMaxSampleRows + 2];
    };

    void Expand(int chroma, int sampleRow, uint8_t* out) const;
    void Output(int32_t row, const uint8_t* luma, const uint8_t* cb, const uint8_t* cr);
    void SmoothBand(int32_t r, bool last);
    void PlainBand(int32_t r);

    JpegState* state_;
    bool ready_ = false;
    ComponentStrip strips_[3] = {};
    int rh_ = 1, rv_ = 1;
    bool smooth_ = true;
    int width_ = 0;       // padded picture width
    int bandRows_ = 0;    // picture rows per MCU row
    int sampleRows_ = 0;  // chroma sample rows per MCU row
    int convertWidth_ = 0, convertHeight_ = 0;
    Expanded expanded_[2] = {};
    uint8_t* savedLuma_ = nullptr;  // the luma row that waits with the last row
    uint8_t* filtered_[2] = {};     // one picture row of each chroma component
    uint8_t* memory_ = nullptr;
};

}  // namespace jpeg
