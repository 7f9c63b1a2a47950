#include "jpeg/vti_JPEG.h"

#include <memory>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Settings.h"
#include "formats/Readers.h"
#include "jpeg/Huffman.h"
#include "jpeg/JpegState.h"
#include "jpeg/Markers.h"
#include "jpeg/jdPipe.h"

namespace {
constexpr const char* kPlace = "vti_JPEG";

bool LoadFull(ImageImpFile* imp, Image* image, Progress* progress) {
    return jpegLoad(imp, image, progress, false);
}
bool LoadReduced(ImageImpFile* imp, Image* image, Progress* progress) {
    return jpegLoad(imp, image, progress, true);
}

int32_t RoundUp(int32_t value, int32_t multiple) {
    return (value + multiple - 1) / multiple * multiple;
}
}  // namespace

// The quick probe: finds the frame header without parsing any table and
// announces the picture (and, for pictures well above thumbnail size, the
// one-eighth decode).
bool vti_JPEG(ImageImpFile* imp) {
    const uint8_t* data = imp->data;
    const size_t size = imp->size;
    if (size < 2 || data[0] != 0xFF || data[1] != 0xD8) return SetError(kPlace, "Not a JPEG file");
    imp->ready = true;
    imp->rowLoader = LoadFull;

    size_t cursor = 2;
    int marker;
    for (;;) {
        marker = jpeg::NextMarker(data, size, &cursor);
        if (marker == jpeg::kNoMarker) return SetError(kPlace, "No SOF marker found");
        if ((marker >= jpeg::kSOF0 && marker <= jpeg::kSOF3) ||
            (marker >= jpeg::kSOF5 && marker <= jpeg::kSOF11) ||
            (marker >= jpeg::kSOF13 && marker <= jpeg::kSOF15))
            break;
        if (marker >= jpeg::kSOI && marker <= jpeg::kSOS)
            return SetError(kPlace, "No SOF marker found");
        // TEM and RSTn stand alone, without a length; the loader's table
        // reader ignores them between segments, and so does the probe.
        if (marker == jpeg::kTEM || (marker >= jpeg::kRST0 && marker <= jpeg::kRST7)) continue;
        const ByteCursor at(data, size);
        const unsigned length = (at.ByteAt(cursor) << 8) | at.ByteAt(cursor + 1);
        // A length below 2 would step backwards; the scan goes on after it.
        cursor += length < 2 ? 2 : length;
        if (cursor >= size) return SetError(kPlace, "No SOF marker found");
    }
    if (marker != jpeg::kSOF0 && marker != jpeg::kSOF1)
        return SetError(kPlace, "Unsupported non-baseline JPEG format");
    imp->compression = "HuffDCT";

    ByteCursor in(data, size, cursor + 2);  // after the length field
    const int precision = in.U8();
    if (precision != 8) return SetError(kPlace, "Unsupported non-baseline JPEG format");
    const int32_t height = in.BE16();
    const int32_t width = in.BE16();
    const int32_t count = in.U8();
    const int32_t bitsPerPixel = 8 * count;
    int32_t hMax = 1, vMax = 1;
    for (int32_t c = 0; c < count; ++c) {
        in.U8();
        const unsigned sampling = in.U8();
        in.U8();
        if (static_cast<int32_t>(sampling >> 4) > hMax) hMax = static_cast<int32_t>(sampling >> 4);
        if (static_cast<int32_t>(sampling & 15) > vMax) vMax = static_cast<int32_t>(sampling & 15);
    }

    imp->width = width;
    imp->height = height;
    imp->depth = bitsPerPixel;
    imp->stride = RoundUp(width, 8 * hMax) * count;
    imp->rows = RoundUp(height, 8 * vMax);
    if (bitsPerPixel == 8)
        imp->colourModel = kColourGrey;
    else if (bitsPerPixel == 24)
        imp->colourModel = kColourYCbCr;
    else
        return SetError(kPlace, "Unsupported non-baseline JPEG format");

    // Thumbnails of big pictures decode at one eighth (one pixel per block)
    // and are resampled from there.
    if (width / 5 >= g_settings->idx.iIconX || height / 5 >= g_settings->idx.iIconY) {
        imp->rowLoader2 = LoadReduced;
        imp->width2 = (width + 7) / 8;
        imp->height2 = (height + 7) / 8;
        imp->stride2 = ((imp->stride / count) + 7) / 8 * count;
        imp->rows2 = (imp->rows + 7) / 8;
    }
    return true;
}

bool jpegLoad(ImageImpFile* imp, Image* image, Progress* progress, bool dcOnly) {
    // The component records are freed on every path out, the one that
    // leaves through the fatal restart-marker exit included.
    struct Owned {
        std::unique_ptr<JpegState> state{new JpegState()};
        ~Owned() { jpegFreeComponents(state.get()); }
    } owned;
    JpegState* state = owned.state.get();
    state->data = imp->data;
    state->size = imp->size;
    state->cursor = 0;
    state->outputBase = image->pixels;
    state->outputStride = image->stride;
    state->outputBytes = image->PixelBytes();
    state->progress = progress;
    state->fastIdct = g_settings->jpeg.bFastDCT;
    state->fastUpsampling = g_settings->jpeg.bFastUnsubsample;
    state->dcOnly = dcOnly ? 1 : 0;
    if (imp->yCbCrConversionOffered && image->depth == 24) {
        state->convertWidth = image->width;
        state->convertHeight = image->height;
    }
    for (JpegComponent*& component : state->components) component = nullptr;

    bool ok = jdReadFileHeader(state) && jdReadScanHeader(state) && jpeg::InitialSetup(state);
    if (ok && state->arithmetic)
        ok = SetError(kPlace, "Sorry, there are legal restrictions on arithmetic coding!");
    if (ok) {
        state->startOfScan = jpeg::HuffStartOfScan;
        state->decodeMcu = jpeg::HuffDecodeMcu;
        state->endOfScan = jpeg::HuffEndOfScan;
        ok = jSelDMCU(state) && jdPipe(state);
    }
    imp->yCbCrConverted = state->converted != 0;
    return ok;
}
