// Fills in the samples of subsampled components, in place in the picture:
// after the block transforms a component with ratio rh x rv holds a sample
// on every rh-th pixel of every rv-th row, with its byte of the other
// pixels still empty.
#include <algorithm>
#include <cstring>
#include <vector>

#include "core/Error.h"
#include "core/Progress.h"
#include "jpeg/jdPipe.h"

namespace {
constexpr int kPixelBytes = 3;

// The picture's bytes of one component, with the guard the generic
// replication needs (it runs past rows and, on the last rows, past the
// picture; the writes that would leave the pixel block are dropped).
struct Plane {
    uint8_t* base;  // byte c of pixel 0 of row 0
    ptrdiff_t stride;
    size_t limit;  // bytes of the pixel block from base
    uint8_t* At(int x, int y) const {
        return base + static_cast<ptrdiff_t>(y) * stride + kPixelBytes * x;
    }
};

// Smooth horizontal x2: sample i sits at pixel 2i; each output pixel is 3/4
// of its nearer sample and 1/4 of the other neighbour. Only the decoded
// samples enter the sums.
void SmoothHorizontal(uint8_t* row, int samples) {
    auto px = [row](int x) -> uint8_t& { return row[kPixelBytes * x]; };
    if (samples == 1) {
        px(1) = px(0);
        return;
    }
    int previous = px(0);
    int current = px(0);
    int next = px(2);
    px(1) = static_cast<uint8_t>((3 * current + next + 1) >> 2);
    for (int i = 1; i < samples - 1; ++i) {
        previous = current;
        current = next;
        next = px(2 * i + 2);
        px(2 * i) = static_cast<uint8_t>((3 * current + previous + 2) >> 2);
        px(2 * i + 1) = static_cast<uint8_t>((3 * current + next + 1) >> 2);
    }
    previous = current;
    current = next;
    px(2 * samples - 2) = static_cast<uint8_t>((3 * current + previous + 2) >> 2);
    px(2 * samples - 1) = static_cast<uint8_t>(current);
}

// SmoothHorizontal for Cb and Cr at once (bytes 1 and 2 of each pixel).
void SmoothHorizontalPair(uint8_t* row, int samples) {
    if (samples == 1) {
        row[4] = row[1];
        row[5] = row[2];
        return;
    }
    int previousB, currentB = row[1], nextB = row[7];
    int previousR, currentR = row[2], nextR = row[8];
    row[4] = static_cast<uint8_t>((3 * currentB + nextB + 1) >> 2);
    row[5] = static_cast<uint8_t>((3 * currentR + nextR + 1) >> 2);
    for (int i = 1; i < samples - 1; ++i) {
        uint8_t* p = row + 6 * i;
        previousB = currentB;
        currentB = nextB;
        nextB = p[7];
        previousR = currentR;
        currentR = nextR;
        nextR = p[8];
        p[1] = static_cast<uint8_t>((3 * currentB + previousB + 2) >> 2);
        p[4] = static_cast<uint8_t>((3 * currentB + nextB + 1) >> 2);
        p[2] = static_cast<uint8_t>((3 * currentR + previousR + 2) >> 2);
        p[5] = static_cast<uint8_t>((3 * currentR + nextR + 1) >> 2);
    }
    uint8_t* p = row + 6 * (samples - 1);
    p[1] = static_cast<uint8_t>((3 * nextB + currentB + 2) >> 2);
    p[4] = static_cast<uint8_t>(nextB);
    p[2] = static_cast<uint8_t>((3 * nextR + currentR + 2) >> 2);
    p[5] = static_cast<uint8_t>(nextR);
}

// The inner pixels (2 .. 2n - 3) of SmoothHorizontalPair over bytes: an
// even pixel's chroma byte mixes its sample with the one two pixels left, an
// odd pixel's takes its left neighbour's sample with the right one's.
void SmoothHorizontalBytes(uint8_t* __restrict row, const uint8_t* __restrict src,
                           const uint8_t* __restrict evenMask, const uint8_t* __restrict oddMask,
                           size_t bytes) {
    for (size_t j = 6; j + 6 < bytes; ++j) {
        const unsigned even = (3u * src[j] + src[j - 6] + 2) >> 2;
        const unsigned odd = (3u * src[j - 3] + src[j + 3] + 1) >> 2;
        row[j] = static_cast<uint8_t>((evenMask[j] & even) | (oddMask[j] & odd) |
                                      (~(evenMask[j] | oddMask[j]) & src[j]));
    }
}

// Smooth vertical x2 over every column, sample row i at row 2i. The rounding
// terms are the other way round from the horizontal filter (+1 above, +2
// below); that asymmetry is kept. Columns go in strips so that the saved
// original samples of the previous sample row fit in a small array.
void SmoothVertical(const Plane& plane, int width, int samples) {
    constexpr int kStrip = 64;
    for (int x0 = 0; x0 < width; x0 += kStrip) {
        const int count = std::min(kStrip, width - x0);
        uint8_t previous[kStrip];
        for (int i = 0; i < samples; ++i) {
            uint8_t* current = plane.At(x0, 2 * i);
            uint8_t* below = plane.At(x0, 2 * i + 1);
            const uint8_t* next = i + 1 < samples ? plane.At(x0, 2 * i + 2) : nullptr;
            for (int x = 0; x < count; ++x) {
                const int s = current[kPixelBytes * x];
                const int up = i > 0 ? previous[x] : s;
                const int down = next ? next[kPixelBytes * x] : s;
                // Row 0 and the last row keep their sample.
                const int top = i > 0 ? (3 * s + up + 1) >> 2 : s;
                const int bottom = next ? (3 * s + down + 2) >> 2 : s;
                previous[x] = static_cast<uint8_t>(s);
                current[kPixelBytes * x] = static_cast<uint8_t>(top);
                below[kPixelBytes * x] = static_cast<uint8_t>(bottom);
            }
        }
    }
}

void ReplicateHorizontal(uint8_t* row, int samples) {
    for (int i = 0; i < samples; ++i) row[kPixelBytes * (2 * i + 1)] = row[kPixelBytes * 2 * i];
}

void ReplicateVertical(const Plane& plane, int width, int samples) {
    for (int i = 0; i < samples; ++i) {
        const uint8_t* from = plane.At(0, 2 * i);
        uint8_t* to = plane.At(0, 2 * i + 1);
        for (int x = 0; x < width; ++x) to[kPixelBytes * x] = from[kPixelBytes * x];
    }
}

// Generic replication by 3 or 4. Each sample is written to the f pixels
// after it, so the run ends on the next sample's position, and the next
// sample is read after the run: the read position drifts by one pixel per
// sample and the walk runs on into the following row. Kept as it is for
// these rare ratios; writes outside the pixel block are dropped.
void GenericHorizontal(const Plane& plane, int row, int samples, int f) {
    size_t at = static_cast<size_t>(row) * static_cast<size_t>(plane.stride);
    for (int i = 0; i < samples && at < plane.limit; ++i) {
        const uint8_t value = plane.base[at];
        for (int j = 1; j <= f; ++j) {
            const size_t to = at + static_cast<size_t>(kPixelBytes * j);
            if (to < plane.limit) plane.base[to] = value;
        }
        at += static_cast<size_t>(kPixelBytes * (f + 1));
    }
}

// Vertically each pixel of a sample row is written to the f rows below it;
// the next sample row is then read f + 1 rows further down (the walk across
// the row plus f row strides).
void GenericVertical(const Plane& plane, int width, int samples, int f) {
    size_t rowAt = 0;
    for (int i = 0; i < samples && rowAt < plane.limit; ++i) {
        for (int x = 0; x < width; ++x) {
            const size_t at = rowAt + static_cast<size_t>(kPixelBytes * x);
            if (at >= plane.limit) break;
            const uint8_t value = plane.base[at];
            for (int k = 1; k <= f; ++k) {
                const size_t to = at + static_cast<size_t>(k) * static_cast<size_t>(plane.stride);
                if (to < plane.limit) plane.base[to] = value;
            }
        }
        rowAt += static_cast<size_t>(kPixelBytes * width) +
                 static_cast<size_t>(f) * static_cast<size_t>(plane.stride);
    }
}

// One sample row of the smooth vertical filter over a row of bytes: `row`
// becomes 3/4 of itself and 1/4 of the previous sample row (`up`; null for
// the first row, which keeps its sample), `below` 3/4 of it and 1/4 of the
// next; only where `mask` is set. `keep` receives the row as it was.
void VerticalPair(uint8_t* __restrict row, uint8_t* __restrict below,
                  const uint8_t* __restrict next, const uint8_t* up, uint8_t* keep,
                  const uint8_t* __restrict mask, size_t bytes) {
    if (!up) {
        for (size_t j = 0; j < bytes; ++j) {
            const unsigned s = row[j];
            const uint8_t bottom = static_cast<uint8_t>((3 * s + next[j] + 2) >> 2);
            keep[j] = static_cast<uint8_t>(s);
            below[j] = static_cast<uint8_t>((mask[j] & bottom) | (~mask[j] & below[j]));
        }
        return;
    }
    // up and keep are the same buffer: each byte is read before it is
    // replaced.
    for (size_t j = 0; j < bytes; ++j) {
        const unsigned s = row[j], u = up[j];
        const uint8_t top = static_cast<uint8_t>((3 * s + u + 1) >> 2);
        const uint8_t bottom = static_cast<uint8_t>((3 * s + next[j] + 2) >> 2);
        keep[j] = static_cast<uint8_t>(s);
        row[j] = static_cast<uint8_t>((mask[j] & top) | (~mask[j] & s));
        below[j] = static_cast<uint8_t>((mask[j] & bottom) | (~mask[j] & below[j]));
    }
}

// The last sample row: it mixes with the row above, the row below it
// repeats the sample. `up` is the row itself when there is only one.
void VerticalLast(uint8_t* __restrict row, uint8_t* __restrict below, const uint8_t* up,
                  const uint8_t* __restrict mask, size_t bytes) {
    const bool single = up == row;
    for (size_t j = 0; j < bytes; ++j) {
        const unsigned s = row[j];
        const uint8_t top =
            single ? static_cast<uint8_t>(s) : static_cast<uint8_t>((3 * s + up[j] + 1) >> 2);
        row[j] = static_cast<uint8_t>((mask[j] & top) | (~mask[j] & s));
        below[j] = static_cast<uint8_t>((mask[j] & s) | (~mask[j] & below[j]));
    }
}

// Both chroma components with the same ratio, each ratio 1 or 2: one pass
// over the rows does the horizontal and the vertical step for bytes 1 and 2
// together. Each sample row is expanded horizontally just before the
// vertical filter needs it, and the vertical filter keeps the expanded
// (not yet vertically filtered) previous sample row aside, so every output
// is what the two separate passes give.
class ChromaPair {
public:
    ChromaPair(const JpegState* state, int samplesWide, int samplesHigh, int width, int rh, int rv)
        : base_(state->outputBase),
          stride_(state->outputStride),
          samplesWide_(samplesWide),
          samplesHigh_(samplesHigh),
          width_(width),
          rh_(rh),
          rv_(rv),
          fast_(state->fastUpsampling != 0) {}

    void Run() {
        if (rv_ == 1) {
            for (int y = 0; y < samplesHigh_; ++y) Horizontal(Row(y));
            return;
        }
        if (fast_) {
            for (int i = 0; i < samplesHigh_; ++i) {
                uint8_t* row = Row(2 * i);
                Horizontal(row);
                uint8_t* below = Row(2 * i + 1);
                for (int x = 0; x < width_; ++x) {
                    below[3 * x + 1] = row[3 * x + 1];
                    below[3 * x + 2] = row[3 * x + 2];
                }
            }
            return;
        }
        // The vertical filter runs over whole rows of bytes with a mask that
        // selects the chroma bytes, which lets the compiler use vector
        // instructions; luma bytes keep their value.
        const size_t bytes = 3 * static_cast<size_t>(width_);
        std::vector<uint8_t> saved(bytes), mask(bytes);
        for (size_t j = 0; j < bytes; ++j) mask[j] = j % 3 ? 0xFF : 0x00;
        const uint8_t* m = mask.data();
        uint8_t* keep = saved.data();
        Horizontal(Row(0));
        for (int i = 0; i < samplesHigh_; ++i) {
            uint8_t* row = Row(2 * i);
            uint8_t* below = Row(2 * i + 1);
            const bool last = i + 1 == samplesHigh_;
            if (!last) Horizontal(Row(2 * i + 2));
            const uint8_t* next = last ? row : Row(2 * i + 2);
            if (last)
                VerticalLast(row, below, i == 0 ? row : keep, m, bytes);
            else
                VerticalPair(row, below, next, i == 0 ? nullptr : keep, keep, m, bytes);
        }
    }

private:
    uint8_t* Row(int y) const { return base_ + static_cast<ptrdiff_t>(y) * stride_; }

    void Horizontal(uint8_t* row) {
        if (rh_ == 1) return;
        if (fast_) {
            for (int i = 0; i < samplesWide_; ++i) {
                row[6 * i + 4] = row[6 * i + 1];
                row[6 * i + 5] = row[6 * i + 2];
            }
            return;
        }
        if (samplesWide_ < 3) {
            SmoothHorizontalPair(row, samplesWide_);
            return;
        }
        // Over whole rows of bytes, from a copy of the samples, with masks
        // marking the chroma bytes of even and of odd pixels: the same sums
        // as SmoothHorizontalPair, in a form the compiler can vectorise.
        const size_t bytes = 6 * static_cast<size_t>(samplesWide_);
        if (source_.empty()) {
            source_.resize(bytes);
            evenMask_.assign(bytes, 0);
            oddMask_.assign(bytes, 0);
            for (size_t j = 0; j < bytes; ++j) {
                if (j % 3 == 0) continue;
                ((j / 3) % 2 ? oddMask_ : evenMask_)[j] = 0xFF;
            }
        }
        std::memcpy(source_.data(), row, bytes);
        SmoothHorizontalBytes(row, source_.data(), evenMask_.data(), oddMask_.data(), bytes);
        // The two pixels at each end: pixel 0 keeps its sample, pixel 1 and
        // the one before last follow the general sums, the last repeats.
        const uint8_t* src = source_.data();
        for (int c = 1; c <= 2; ++c) {
            row[3 + c] = static_cast<uint8_t>((3 * src[c] + src[6 + c] + 1) >> 2);
            const size_t last = bytes - 6;  // pixel 2n - 2, the last sample
            row[last + c] = static_cast<uint8_t>((3 * src[last + c] + src[last - 6 + c] + 2) >> 2);
            row[last + 3 + c] = src[last + c];
        }
    }

    uint8_t* base_;
    ptrdiff_t stride_;
    int samplesWide_, samplesHigh_, width_, rh_, rv_;
    bool fast_;
    std::vector<uint8_t> source_, evenMask_, oddMask_;
};
}  // namespace

bool PostExpand(JpegState* state) {
    if (state->ccir601) return SetError("PostExpand", "CCIR601 subsampling not supported!");
    const int components = state->componentCount;
    if (components == 1) {
        const JpegComponent* component = state->components[0];
        if (state->hMax / component->h == 1 && state->vMax / component->v == 1) return true;
        return SetError("PostExpand",
                        "Subsampled grayscale not supported, Why would anyone do such a stupid "
                        "thing?");
    }
    if (components != 3) return SetError("PostExpand", "Only 1 or 3 components supported");

    ReportStatus(state->progress, "Assembling components", 0, 100);
    const bool reduced = state->dcOnly != 0;
    auto scaled = [reduced](int32_t size) { return reduced ? (size + 7) / 8 : size; };
    const int width = scaled(state->paddedWidth);
    const JpegComponent* cb = state->components[1];
    const JpegComponent* cr = state->components[2];
    const bool pair = cb->h == cr->h && cb->v == cr->v && state->hMax % cb->h == 0 &&
                      state->vMax % cb->v == 0 && state->hMax / cb->h <= 2 &&
                      state->vMax / cb->v <= 2;
    for (int c = 0; c < components; ++c) {
        const JpegComponent* component = state->components[c];
        if (state->hMax % component->h != 0 || state->vMax % component->v != 0)
            return SetError("PostExpand", "Fractional subsampling not supported!");
        const int rh = state->hMax / component->h, rv = state->vMax / component->v;
        if (pair && c >= 1) {
            // Cb and Cr expand together when Cb's turn comes.
            if (c == 1 && (rh > 1 || rv > 1))
                ChromaPair(state, scaled(component->paddedWidth), scaled(component->paddedHeight),
                           width, rh, rv)
                    .Run();
            ReportProgress(state->progress, c + 1, components);
            continue;
        }
        const int samplesWide = scaled(component->paddedWidth);
        const int samplesHigh = scaled(component->paddedHeight);
        Plane plane;
        plane.base = state->outputBase + c;
        plane.stride = state->outputStride;
        plane.limit = state->outputBytes > static_cast<size_t>(c) ? state->outputBytes - c : 0;
        const bool fast = state->fastUpsampling != 0;

        if (rh == 2) {
            for (int y = 0; y < samplesHigh; ++y) {
                uint8_t* row = plane.At(0, y * rv);
                if (fast)
                    ReplicateHorizontal(row, samplesWide);
                else
                    SmoothHorizontal(row, samplesWide);
            }
        } else if (rh > 2) {
            for (int y = 0; y < samplesHigh; ++y) GenericHorizontal(plane, y * rv, samplesWide, rh);
        }
        if (rv == 2) {
            if (fast)
                ReplicateVertical(plane, width, samplesHigh);
            else
                SmoothVertical(plane, width, samplesHigh);
        } else if (rv > 2) {
            GenericVertical(plane, width, samplesHigh, rv);
        }
        ReportProgress(state->progress, c + 1, components);
    }
    return true;
}
