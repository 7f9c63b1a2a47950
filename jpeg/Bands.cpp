#include "jpeg/Bands.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "jpeg/Simd.h"
#include "jpeg/YCbCr.h"

namespace jpeg {
namespace {

// Smooth horizontal x2 of one sample row: sample i becomes pixels 2i and
// 2i + 1, each 3/4 of it and 1/4 of the neighbour on its side (+2 and +1
// to round); the end pixels repeat their sample, which is what the sums
// give with the end samples repeated outside the row.
void SmoothHorizontal(const uint8_t* __restrict s, int samples, uint8_t* __restrict out) {
    if (samples == 1) {
        out[0] = out[1] = s[0];
        return;
    }
    out[0] = s[0];
    out[1] = static_cast<uint8_t>((3 * s[0] + s[1] + 1) >> 2);
    int i = 1;
#ifdef VANTIREL_SSE2
    // Sixteen samples at a time while the one after them is in the row.
    const __m128i zero = _mm_setzero_si128(), one = _mm_set1_epi16(1), two = _mm_set1_epi16(2);
    for (; i + 17 <= samples; i += 16) {
        const __m128i current = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
        const __m128i previous = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i - 1));
        const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + 1));
        __m128i even[2], odd[2];
        for (int half = 0; half < 2; ++half) {
            const __m128i c =
                half ? _mm_unpackhi_epi8(current, zero) : _mm_unpacklo_epi8(current, zero);
            const __m128i p =
                half ? _mm_unpackhi_epi8(previous, zero) : _mm_unpacklo_epi8(previous, zero);
            const __m128i n = half ? _mm_unpackhi_epi8(next, zero) : _mm_unpacklo_epi8(next, zero);
            const __m128i three = _mm_add_epi16(_mm_add_epi16(c, c), c);
            even[half] = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(three, p), two), 2);
            odd[half] = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(three, n), one), 2);
        }
        const __m128i evens = _mm_packus_epi16(even[0], even[1]);
        const __m128i odds = _mm_packus_epi16(odd[0], odd[1]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), _mm_unpacklo_epi8(evens, odds));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i + 16),
                         _mm_unpackhi_epi8(evens, odds));
    }
#endif
    for (; i < samples - 1; ++i) {
        const unsigned three = 3u * s[i];
        out[2 * i] = static_cast<uint8_t>((three + s[i - 1] + 2) >> 2);
        out[2 * i + 1] = static_cast<uint8_t>((three + s[i + 1] + 1) >> 2);
    }
    const int n = samples - 1;
    out[2 * n] = static_cast<uint8_t>((3 * s[n] + s[n - 1] + 2) >> 2);
    out[2 * n + 1] = s[n];
}

void ReplicateHorizontal(const uint8_t* __restrict s, int samples, uint8_t* __restrict out) {
    for (int i = 0; i < samples; ++i) out[2 * i] = out[2 * i + 1] = s[i];
}

// The vertical filter's two rows for a sample row s: the upper one mixes in
// the row above (+1 to round), the lower one the row below (+2).
void VerticalUpper(const uint8_t* __restrict s, const uint8_t* __restrict above, int width,
                   uint8_t* __restrict out) {
    for (int x = 0; x < width; ++x) out[x] = static_cast<uint8_t>((3u * s[x] + above[x] + 1) >> 2);
}
void VerticalLower(const uint8_t* __restrict s, const uint8_t* __restrict below, int width,
                   uint8_t* __restrict out) {
    for (int x = 0; x < width; ++x) out[x] = static_cast<uint8_t>((3u * s[x] + below[x] + 2) >> 2);
}

// Pixels of YCbCr as decoded, unconverted.
void Interleave(const uint8_t* __restrict y, const uint8_t* __restrict cb,
                const uint8_t* __restrict cr, int count, uint8_t* __restrict out) {
    for (int x = 0; x < count; ++x) {
        out[3 * x] = y[x];
        out[3 * x + 1] = cb[x];
        out[3 * x + 2] = cr[x];
    }
}

}  // namespace

bool Bands::Apply(const JpegState* state) {
    if (state->dcOnly || state->ccir601 || state->componentCount != 3 || state->scanCount != 3)
        return false;
    bool seen[3] = {false, false, false};
    for (int i = 0; i < 3; ++i) {
        const int c = state->scanComponents[i]->index;
        if (c < 0 || c > 2 || seen[c]) return false;
        seen[c] = true;
    }
    const JpegComponent* luma = state->components[0];
    const JpegComponent* cb = state->components[1];
    const JpegComponent* cr = state->components[2];
    if (luma->h != state->hMax || luma->v != state->vMax) return false;
    if (cb->h != cr->h || cb->v != cr->v) return false;
    if (state->hMax % cb->h != 0 || state->vMax % cb->v != 0) return false;
    return state->hMax / cb->h <= 2 && state->vMax / cb->v <= 2;
}

Bands::Bands(JpegState* state) : state_(state) {
    const JpegComponent* chroma = state->components[1];
    rh_ = state->hMax / chroma->h;
    rv_ = state->vMax / chroma->v;
    smooth_ = !state->fastUpsampling;
    width_ = state->paddedWidth;
    bandRows_ = 8 * state->vMax;
    sampleRows_ = 8 * chroma->v;
    if (state->convertWidth > 0 && state->convertHeight > 0) {
        convertWidth_ = std::min(state->convertWidth, width_);
        convertHeight_ = state->convertHeight;
    }
    // One block of memory: the three strips, then each chroma component's
    // expanded rows, the waiting luma row and the two filtered rows.
    const size_t width = static_cast<size_t>(width_);
    size_t bytes = 0;
    for (int c = 0; c < 3; ++c) {
        const JpegComponent* component = state->components[c];
        strips_[c].samples = component->paddedWidth;
        strips_[c].stride = component->paddedWidth;
        bytes += static_cast<size_t>(component->paddedWidth) * 8 * component->v;
    }
    const int expandedRows = sampleRows_ + 2;
    bytes += width * (2 * expandedRows + 3);
    memory_ = static_cast<uint8_t*>(std::malloc(bytes));
    if (!memory_) return;
    uint8_t* at = memory_;
    for (int c = 0; c < 3; ++c) {
        strips_[c].base = at;
        at += static_cast<size_t>(strips_[c].stride) * 8 * state->components[c]->v;
    }
    for (Expanded& e : expanded_) {
        for (int i = 0; i < expandedRows; ++i, at += width) e.rows[i] = at;
    }
    savedLuma_ = at;
    at += width;
    filtered_[0] = at;
    filtered_[1] = at + width;
    ready_ = true;
}

Bands::~Bands() { std::free(memory_); }

void Bands::Expand(int chroma, int sampleRow, uint8_t* out) const {
    const ComponentStrip& strip = strips_[1 + chroma];
    const uint8_t* samples = strip.base + static_cast<ptrdiff_t>(sampleRow) * strip.stride;
    if (rh_ == 1)
        std::memcpy(out, samples, static_cast<size_t>(width_));
    else if (smooth_)
        SmoothHorizontal(samples, strip.samples, out);
    else
        ReplicateHorizontal(samples, strip.samples, out);
}

void Bands::Output(int32_t row, const uint8_t* luma, const uint8_t* cb, const uint8_t* cr) {
    uint8_t* out = state_->outputBase + static_cast<ptrdiff_t>(row) * state_->outputStride;
    int converted = 0;
    if (row < convertHeight_) {
        converted = convertWidth_;
        jpegConvertYCbCrPlanes(luma, cb, cr, converted, out);
    }
    // The padding columns (and rows) stay as decoded, as Load leaves them.
    Interleave(luma + converted, cb + converted, cr + converted, width_ - converted,
               out + 3 * converted);
}

void Bands::McuRowDone(int32_t r) {
    if (rv_ == 2 && smooth_)
        SmoothBand(r, r + 1 == state_->mcuRows);
    else
        PlainBand(r);
}

// No vertical filter: each sample row gives one picture row, or two equal
// ones when the chroma is replicated vertically.
void Bands::PlainBand(int32_t r) {
    const int32_t top = r * bandRows_;
    const ComponentStrip& luma = strips_[0];
    for (int j = 0; j < sampleRows_; ++j) {
        Expand(0, j, filtered_[0]);
        Expand(1, j, filtered_[1]);
        for (int k = 0; k < rv_; ++k) {
            const int y = rv_ * j + k;
            Output(top + y, luma.base + static_cast<ptrdiff_t>(y) * luma.stride, filtered_[0],
                   filtered_[1]);
        }
    }
}

// Smooth vertical x2: sample row j of the band gives picture rows 2j (3/4
// of it, 1/4 of the row above) and 2j + 1 (1/4 of the row below), from the
// horizontally expanded rows. The band's last picture row needs the next
// band's first sample row, so it is written when that band is done; the
// picture's first and last rows repeat their sample.
void Bands::SmoothBand(int32_t r, bool last) {
    const int n = sampleRows_;
    const int32_t top = r * bandRows_;
    const ComponentStrip& luma = strips_[0];
    for (int k = 0; k < 2; ++k) Expand(k, 0, expanded_[k].rows[n + 1]);
    if (r > 0) {
        for (int k = 0; k < 2; ++k)
            VerticalLower(expanded_[k].rows[n], expanded_[k].rows[n + 1], width_, filtered_[k]);
        Output(top - 1, savedLuma_, filtered_[0], filtered_[1]);
    }
    for (Expanded& e : expanded_) {
        std::swap(e.rows[0], e.rows[n]);
        std::swap(e.rows[1], e.rows[n + 1]);
    }
    for (int k = 0; k < 2; ++k)
        for (int j = 1; j < n; ++j) Expand(k, j, expanded_[k].rows[j + 1]);

    for (int j = 1; j <= n; ++j) {
        const int y = 2 * (j - 1);
        for (int k = 0; k < 2; ++k) {
            uint8_t* const* rows = expanded_[k].rows;
            const uint8_t* above = r == 0 && j == 1 ? rows[1] : rows[j - 1];
            VerticalUpper(rows[j], above, width_, filtered_[k]);
        }
        Output(top + y, luma.base + static_cast<ptrdiff_t>(y) * luma.stride, filtered_[0],
               filtered_[1]);
        if (j == n && !last) break;
        for (int k = 0; k < 2; ++k) {
            uint8_t* const* rows = expanded_[k].rows;
            VerticalLower(rows[j], j < n ? rows[j + 1] : rows[j], width_, filtered_[k]);
        }
        Output(top + y + 1, luma.base + static_cast<ptrdiff_t>(y + 1) * luma.stride, filtered_[0],
               filtered_[1]);
    }
    if (!last)
        std::memcpy(savedLuma_, luma.base + static_cast<ptrdiff_t>(bandRows_ - 1) * luma.stride,
                    static_cast<size_t>(width_));
}

}  // namespace jpeg
