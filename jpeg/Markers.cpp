// The byte-level marker scanner and every marker-segment parser of the
// decoder, with the frame and scan header readers built on them.
#include "jpeg/Markers.h"

#include <cstdlib>
#include <cstring>

#include "core/ByteCursor.h"
#include "core/Error.h"

namespace {
constexpr const char* kPremature = "Premature End Of Image!";

// Reads the 16-bit segment length at the cursor; the segment ends at
// start + length.
struct Segment {
    ByteCursor in;
    size_t start;
    int32_t length;
    explicit Segment(JpegState* state)
        : in(state->data, state->size, state->cursor), start(state->cursor), length(0) {
        length = in.BE16();
    }
    // Where a segment skipped by its length leaves the cursor. A length
    // below 2 would point back into the field itself; the scan then simply
    // continues after the length field.
    size_t End() const { return start + (length < 2 ? 2 : static_cast<size_t>(length)); }
};
}  // namespace

namespace jpeg {

int NextMarker(const uint8_t* data, size_t size, size_t* cursor) {
    size_t at = *cursor;
    for (;;) {
        const void* ff = at < size ? std::memchr(data + at, 0xFF, size - at) : nullptr;
        if (!ff) {
            *cursor = size;
            return kNoMarker;
        }
        at = static_cast<size_t>(static_cast<const uint8_t*>(ff) - data) + 1;
        while (at < size && data[at] == 0xFF) ++at;
        if (at >= size) {
            *cursor = size;
            return kNoMarker;
        }
        const uint8_t code = data[at++];
        if (code != 0x00) {
            *cursor = at;
            return code;
        }
    }
}

void ResetDefaults(JpegState* state) {
    for (int i = 0; i < 16; ++i) {
        state->arithDcLower[i] = 0;
        state->arithDcUpper[i] = 1;
        state->arithAcK[i] = 5;
    }
    state->restartInterval = 0;
    state->densityUnit = 0;
    state->xDensity = 1;
    state->yDensity = 1;
    state->colourSpace = kJpegColourUnknown;
    state->ccir601 = 0;
}

bool InitialSetup(JpegState* state) {
    state->hMax = 1;
    state->vMax = 1;
    const int count =
        state->componentCount < kMaxComponents ? state->componentCount : kMaxComponents;
    for (int c = 0; c < count; ++c) {
        const JpegComponent* component = state->components[c];
        if (component->h < 1 || component->h > 4 || component->v < 1 || component->v > 4)
            return SetError("jpeg::InitialSetup", "Bogus sampling factors!");
        if (component->h > state->hMax) state->hMax = component->h;
        if (component->v > state->vMax) state->vMax = component->v;
    }
    const int32_t mcuWidth = 8 * state->hMax, mcuHeight = 8 * state->vMax;
    state->paddedWidth = (state->imageWidth + mcuWidth - 1) / mcuWidth * mcuWidth;
    state->paddedHeight = (state->imageHeight + mcuHeight - 1) / mcuHeight * mcuHeight;
    for (int c = 0; c < count; ++c) {
        JpegComponent* component = state->components[c];
        component->paddedWidth = state->paddedWidth * component->h / state->hMax;
        component->paddedHeight = state->paddedHeight * component->v / state->vMax;
    }
    return true;
}

}  // namespace jpeg

int jpegGetTables(JpegState* state) {
    using namespace jpeg;
    for (;;) {
        const int marker = NextMarker(state->data, state->size, &state->cursor);
        if (marker == kNoMarker) {
            SetError("jpegGetTables", kPremature);
            return -1;
        }
        bool ok = true;
        if (marker == kTEM || (marker >= kRST0 && marker <= kRST7)) continue;
        if ((marker >= kSOF0 && marker <= kSOF3) || (marker >= kSOF5 && marker <= kSOF11) ||
            (marker >= kSOF13 && marker <= kSOF15) || (marker >= kSOI && marker <= kSOS))
            return marker;
        switch (marker) {
            case kDHT:
                ok = jpegGetDHT(state);
                break;
            case kDAC:
                ok = jpegGetDAC(state);
                break;
            case kDQT:
                ok = jpegGetDQT(state);
                break;
            case kDNL:
                ok = jpegSkipSegment(state);
                break;
            case kDRI:
                ok = jpegGetDRI(state);
                break;
            case kAPP0:
                ok = jpegGetAPP0(state);
                break;
            case kAPP14:
                ok = jpegGetAPP14(state);
                break;
            case kAPP15:
                ok = jpegSkipSegment(state);
                break;
            case kCOM:
                ok = jpegSkipSegment(state);
                break;
            default:
                if (marker > kAPP0 && marker <= kAPP13) {
                    ok = jpegSkipSegment(state);
                    break;
                }
                // RESn, DHP, EXP and JPGn: the hierarchical and extension
                // markers this decoder does not know.
                SetError("jpegGetTables",
                         "DHP, EXP, JPGn, or RESn found! (JPEG Part 3 extensions not yet "
                         "supported)");
                return -1;
        }
        if (!ok) return -1;
    }
}

bool jpegSkipSegment(JpegState* state) {
    // A length that runs off the end leaves the cursor there; the next
    // marker scan then reports the premature end.
    Segment segment(state);
    state->cursor = segment.End();
    return true;
}

bool jpegGetDHT(JpegState* state) {
    Segment segment(state);
    ByteCursor& in = segment.in;
    int32_t remaining = segment.length - 2;
    while (remaining >= 1) {
        const unsigned classIndex = in.U8();
        uint8_t counts[17] = {0};
        int total = 0;
        for (int l = 1; l <= 16; ++l) {
            counts[l] = in.U8();
            total += counts[l];
        }
        if (in.Overrun()) return SetError("jpegGetDHT", kPremature);
        if (total > 256) return SetError("jpegGetDHT", "Bogus DHT count!");
        uint8_t symbols[256] = {0};
        in.Read(symbols, static_cast<size_t>(total));
        if (in.Overrun()) return SetError("jpegGetDHT", kPremature);
        HuffTable* table;
        if (classIndex & 0x10) {
            const unsigned index = classIndex - 16;
            if (index > 3) return SetError("jpegGetDHT", "Bogus DHT index");
            table = &state->acTables[index];
        } else {
            if (classIndex > 3) return SetError("jpegGetDHT", "Bogus DHT index");
            table = &state->dcTables[classIndex];
        }
        std::memcpy(table->counts, counts, sizeof counts);
        std::memcpy(table->symbols, symbols, sizeof symbols);
        remaining -= total + 17;
    }
    state->cursor = in.Position();
    return true;
}

bool jpegGetDAC(JpegState* state) {
    Segment segment(state);
    ByteCursor& in = segment.in;
    int32_t remaining = segment.length - 2;
    while (remaining > 0) {
        const unsigned index = in.U8();
        const unsigned value = in.U8();
        if (in.Overrun()) return SetError("jpegGetDAC", kPremature);
        if (index >= 32) return SetError("jpegGetDAC", "Bogus DAC index");
        if (index < 16) {
            state->arithDcLower[index] = static_cast<uint8_t>(value & 15);
            state->arithDcUpper[index] = static_cast<uint8_t>(value >> 4);
            if (state->arithDcLower[index] > state->arithDcUpper[index])
                return SetError("jpegGetDAC", "Bogus DAC value");
        } else {
            state->arithAcK[index - 16] = static_cast<uint8_t>(value);
        }
        remaining -= 2;
    }
    state->cursor = in.Position();
    return true;
}

bool jpegGetDQT(JpegState* state) {
    Segment segment(state);
    ByteCursor& in = segment.in;
    int32_t remaining = segment.length - 2;
    while (remaining >= 1) {
        const unsigned pqTq = in.U8();
        if (in.Overrun()) return SetError("jpegGetDQT", kPremature);
        const unsigned table = pqTq & 15;
        if (table >= 4) return SetError("jpegGetDQT", "Bogus table number");
        const bool wide = (pqTq >> 4) != 0;
        uint32_t values[64];
        for (int k = 0; k < 64; ++k) values[k] = wide ? in.BE16() : in.U8();
        if (in.Overrun()) return SetError("jpegGetDQT", kPremature);
        std::memcpy(state->quantTables[table], values, sizeof values);
        remaining -= wide ? 129 : 65;
    }
    state->cursor = in.Position();
    return true;
}

bool jpegGetDRI(JpegState* state) {
    Segment segment(state);
    ByteCursor& in = segment.in;
    if (in.Overrun()) return SetError("jpegGetDRI", kPremature);
    if (segment.length != 4) return SetError("jpegGetDRI", "Bogus length in DRI");
    const int32_t interval = in.BE16();
    if (in.Overrun()) return SetError("jpegGetDRI", kPremature);
    state->restartInterval = interval;
    state->cursor = in.Position();
    return true;
}

bool jpegGetAPP0(JpegState* state) {
    Segment segment(state);
    ByteCursor& in = segment.in;
    if (in.Overrun()) return SetError("jpegGetAPP0", kPremature);
    if (segment.length - 2 >= 14) {
        uint8_t body[14];
        in.Read(body, sizeof body);
        if (in.Overrun()) return SetError("jpegGetAPP0", kPremature);
        if (std::memcmp(body, "JFIF", 5) == 0) {
            if (body[5] != 1) return SetError("jpegGetAPP0", "Unsupported JFIF revision number");
            state->densityUnit = body[7];
            state->xDensity = (body[8] << 8) | body[9];
            state->yDensity = (body[10] << 8) | body[11];
            if (state->componentCount == 1) state->colourSpace = kJpegColourGrey;
            if (state->componentCount == 3) state->colourSpace = kJpegColourYCbCr;
        }
    }
    state->cursor = segment.End();
    return true;
}

bool jpegGetAPP14(JpegState* state) {
    Segment segment(state);
    ByteCursor& in = segment.in;
    if (segment.length - 2 >= 12) {
        uint8_t body[12];
        in.Read(body, sizeof body);
        if (!in.Overrun() && std::memcmp(body, "Adobe", 5) == 0) {
            const int transform = body[11];
            const int count = state->componentCount;
            if (transform == 0 && count == 1) state->colourSpace = kJpegColourGrey;
            if (transform == 0 && count == 3) state->colourSpace = kJpegColourRGB;
            if (transform == 0 && count == 4) state->colourSpace = kJpegColourCMYK;
            if (transform == 1 && count == 3) state->colourSpace = kJpegColourYCbCr;
            if (transform == 2 && count == 4) state->colourSpace = kJpegColourYCCK;
        }
    }
    state->cursor = segment.End();
    return true;
}

bool jpegGetSOF(JpegState* state) {
    Segment segment(state);
    ByteCursor& in = segment.in;
    const int32_t precision = in.U8();
    const int32_t height = in.BE16();
    const int32_t width = in.BE16();
    const int32_t count = in.U8();
    if (in.Overrun()) return SetError("jpegGetSOF", kPremature);
    if (height < 1 || width < 1 || count == 0)
        return SetError("jpegGetSOF", "Empty JPEG image (DNL not supported)");
    if (precision != 8) return SetError("jpegGetSOF", "Unsupported JPEG data precision!");
    if (segment.length != 3 * count + 8) return SetError("jpegGetSOF", "Bogus SOF length!");
    state->precision = precision;
    state->imageHeight = height;
    state->imageWidth = width;
    // More than four components are refused later (SOS, PostExpand); only
    // four records are kept, which is all a scan can name.
    state->componentCount = count;
    for (int32_t c = 0; c < count; ++c) {
        const uint8_t id = in.U8();
        const unsigned sampling = in.U8();
        const int32_t quant = in.U8();
        if (in.Overrun()) return SetError("jpegGetSOF", kPremature);
        if (c >= jpeg::kMaxComponents) continue;
        JpegComponent* component =
            static_cast<JpegComponent*>(std::calloc(1, sizeof(JpegComponent)));
        if (!component) return SetError("jpegGetSOF", "Out of memory");
        component->id = id;
        component->index = c;
        component->h = static_cast<int32_t>(sampling >> 4);
        component->v = static_cast<int32_t>(sampling & 15);
        component->quantTable = quant;
        component->dequant = nullptr;
        std::free(state->components[c]);
        state->components[c] = component;
    }
    state->cursor = in.Position();
    return true;
}

bool jpegGetSOS(JpegState* state) {
    Segment segment(state);
    ByteCursor& in = segment.in;
    const int32_t count = in.U8();
    if (in.Overrun()) return SetError("jpegGetSOS", kPremature);
    if (count != state->componentCount)
        return SetError("jpegGetSOS", "Multiscan images not supported");
    if (segment.length != 2 * count + 6 || count < 1 || count > 4)
        return SetError("jpegGetSOS", "Bogus SOS length");
    for (int32_t i = 0; i < count; ++i) {
        const uint8_t id = in.U8();
        const unsigned tables = in.U8();
        if (in.Overrun()) return SetError("jpegGetSOS", kPremature);
        JpegComponent* found = nullptr;
        for (int32_t c = 0; c < state->componentCount && c < jpeg::kMaxComponents; ++c) {
            if (state->components[c]->id == id) {
                found = state->components[c];
                break;
            }
        }
        if (!found) return SetError("jpegGetSOS", "Invalid component number in SOS");
        found->dcTable = static_cast<int32_t>(tables >> 4);
        found->acTable = static_cast<int32_t>(tables & 15);
        state->scanComponents[i] = found;
    }
    state->scanCount = count;
    // Ss, Se and Ah/Al only matter to progressive files.
    state->cursor = segment.End();
    if (state->cursor > state->size) return SetError("jpegGetSOS", kPremature);
    return true;
}

bool jdReadFileHeader(JpegState* state) {
    if (state->size < 2 || state->data[0] != 0xFF || state->data[1] != 0xD8)
        return SetError("jdReadFileHeader", "Not a JPEG file!");
    state->cursor = 2;
    jpeg::ResetDefaults(state);
    const int marker = jpegGetTables(state);
    if (marker < 0) return false;
    switch (marker) {
        case jpeg::kSOF0:
        case jpeg::kSOF1:
            if (!jpegGetSOF(state)) return false;
            state->arithmetic = 0;
            state->differential = 0;
            break;
        case jpeg::kSOF5:
            if (!jpegGetSOF(state)) return false;
            state->arithmetic = 0;
            state->differential = 1;
            break;
        case jpeg::kSOF9:
            if (!jpegGetSOF(state)) return false;
            state->arithmetic = 1;
            state->differential = 0;
            break;
        case jpeg::kSOF13:
            if (!jpegGetSOF(state)) return false;
            state->arithmetic = 1;
            state->differential = 1;
            break;
        default:
            return SetError("jdReadFileHeader", "Unsupported SOF marker");
    }
    if (state->colourSpace == kJpegColourUnknown) {
        const int count = state->componentCount;
        if (count == 1) {
            state->colourSpace = kJpegColourGrey;
        } else if (count == 3) {
            const bool rgb = state->components[0]->id == 'R' && state->components[1]->id == 'G' &&
                             state->components[2]->id == 'B';
            state->colourSpace = rgb ? kJpegColourRGB : kJpegColourYCbCr;
        } else if (count == 4) {
            state->colourSpace = kJpegColourCMYK;
        }
    }
    return true;
}

bool jdReadScanHeader(JpegState* state) {
    const int marker = jpegGetTables(state);
    if (marker < 0) return false;
    if (marker == jpeg::kEOI) return SetError("jdReadScanHeader", kPremature);
    if (marker != jpeg::kSOS) return SetError("jdReadScanHeader", "Unexpected marker");
    return jpegGetSOS(state);
}

bool jSelDMCU(JpegState* state) {
    if (state->differential) return SetError("jSelDMCU", "DPCM not supported");
    return true;
}

void jpegFreeComponents(JpegState* state) {
    for (JpegComponent*& component : state->components) {
        if (component) std::free(component->dequant);
        std::free(component);
        component = nullptr;
    }
}
