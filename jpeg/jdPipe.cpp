#include "jpeg/jdPipe.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "core/Error.h"
#include "core/Progress.h"
#include "jpeg/Bands.h"
#include "jpeg/Idct.h"
#include "jpeg/YCbCr.h"
#include "jpeg/ZigZag.h"

namespace {
// Clears what the entropy decoder wrote into a block, so the MCU buffer is
// all zeros again for the next MCU.
inline void ClearBlock(int32_t* block, int lastIndex) {
    if (lastIndex >= 32) {
        for (int k = 0; k < 64; ++k) block[k] = 0;
        return;
    }
    for (int k = 0; k <= lastIndex; ++k) block[jpeg::kZigZagToNatural[k]] = 0;
}
// The bands convert the padded picture's rows and columns within the area
// asked for; a destination announced larger than the frame decodes to
// (which only a file whose frame header differs from the one the probe
// read can bring) has pixels outside them, converted here as the caller
// would have.
void ConvertOutsideBands(const JpegState* state) {
    const int width = state->convertWidth, height = state->convertHeight;
    const int decodedWidth = std::min(width, state->paddedWidth);
    const int decodedHeight = std::min(height, state->paddedHeight);
    if (width > decodedWidth)
        jpegConvertYCbCr(state->outputBase + 3 * static_cast<ptrdiff_t>(decodedWidth),
                         static_cast<int>(state->outputStride), width - decodedWidth,
                         decodedHeight);
    if (height > decodedHeight)
        jpegConvertYCbCr(state->outputBase + decodedHeight * state->outputStride,
                         static_cast<int>(state->outputStride), width, height - decodedHeight);
}
}  // namespace

bool jdPipe(JpegState* state) {
    // A scan of one component is not interleaved: its MCU is a single block
    // and the blocks run in rows across the component, whatever sampling
    // factors the frame gives it (greyscale files saying 2x2 exist). A scan
    // of several components interleaves them in the order the scan header
    // names them, each with its H x V blocks.
    const bool interleaved = state->scanCount > 1;
    const int32_t mcuBlocksWide = interleaved ? state->hMax : 1;
    const int32_t mcuBlocksHigh = interleaved ? state->vMax : 1;
    const int32_t mcuWidth = 8 * mcuBlocksWide, mcuHeight = 8 * mcuBlocksHigh;
    state->mcusPerRow = (state->imageWidth + mcuWidth - 1) / mcuWidth;
    state->mcuRows = (state->imageHeight + mcuHeight - 1) / mcuHeight;
    const int components = state->componentCount;
    int blocks = 0;
    for (int i = 0; i < state->scanCount; ++i) {
        JpegComponent* component = state->scanComponents[i];
        component->mcuWidth = interleaved ? component->h : 1;
        component->mcuHeight = interleaved ? component->v : 1;
        component->mcuBlocks = component->mcuWidth * component->mcuHeight;
        if (blocks + component->mcuBlocks > jpeg::kMaxBlocksPerMcu)
            return SetError("jdPipe", "Sampling factors too large!");
        for (int b = 0; b < component->mcuBlocks; ++b)
            state->mcuMembership[blocks++] = component->index;
    }
    state->blocksPerMcu = blocks;

    const int blockSize = state->dcOnly ? 1 : 8;
    const ptrdiff_t stride = state->outputStride;
    // The destination must hold the whole MCU grid. The dispatcher creates it
    // from the header probe; a file whose frame header differs from what the
    // probe saw must not write past it.
    const int64_t rowBytes =
        static_cast<int64_t>(state->mcusPerRow) * mcuBlocksWide * blockSize * components;
    const int64_t rows = static_cast<int64_t>(state->mcuRows) * mcuBlocksHigh * blockSize;
    if (stride < rowBytes || static_cast<int64_t>(state->outputBytes) < rows * stride)
        return SetError("jdPipe", "Destination bitmap of wrong size");

    if (!DCTOpen(state)) return false;
    if (!state->startOfScan(state)) return false;
    ReportStatus(state->progress, "Decompressing", 0, 100);

    alignas(64) int32_t coefficients[jpeg::kMaxBlocksPerMcu * 64];
    std::memset(coefficients, 0, sizeof coefficients);
    // Common colour layouts decode an MCU row at a time into component
    // strips and are assembled band by band; the others go straight into the
    // picture, with the gaps left for PostExpand.
    std::unique_ptr<jpeg::Bands> bands;
    if (jpeg::Bands::Apply(state)) {
        bands.reset(new (std::nothrow) jpeg::Bands(state));
        if (bands && !bands->Ready()) bands.reset();
    }
    // Where each block of the MCU lands, from the MCU's origin: in the
    // picture, its component's byte of every (Hmax / H)-th pixel of every
    // (Vmax / V)-th row; in a strip, the component's own samples.
    struct Placement {
        ptrdiff_t offset;
        ptrdiff_t rowStep, columnStep;
        ptrdiff_t mcuAdvance;
        uint8_t* strip;  // null: in the picture
        const int32_t* table;
    } placement[jpeg::kMaxBlocksPerMcu];
    const ptrdiff_t mcuAdvance = static_cast<ptrdiff_t>(components) * blockSize * mcuBlocksWide;
    {
        int b = 0;
        for (int i = 0; i < state->scanCount; ++i) {
            JpegComponent* component = state->scanComponents[i];
            const int c = component->index;
            for (int by = 0; by < component->mcuHeight; ++by) {
                for (int bx = 0; bx < component->mcuWidth; ++bx, ++b) {
                    Placement& p = placement[b];
                    if (bands) {
                        p.rowStep = bands->StripStride(c);
                        p.columnStep = 1;
                        p.offset = by * 8 * p.rowStep + bx * 8;
                        p.mcuAdvance = 8 * component->mcuWidth;
                        p.strip = bands->StripBase(c);
                    } else {
                        p.rowStep = (state->vMax / component->v) * stride;
                        p.columnStep = (state->hMax / component->h) * components;
                        p.offset = c + by * blockSize * p.rowStep + bx * blockSize * p.columnStep;
                        p.mcuAdvance = mcuAdvance;
                        p.strip = nullptr;
                    }
                    p.table = state->dcOnly ? &component->dcQuant : component->dequant;
                }
            }
        }
    }

    uint8_t* const base = state->outputBase;
    const BlockRoutine transform = state->idctBlock;
    uint8_t* origin[jpeg::kMaxBlocksPerMcu];
    for (int32_t r = 0; r < state->mcuRows; ++r) {
        if (state->progress && (r & 3) == 3) ReportProgress(state->progress, r, state->mcuRows - 1);
        for (int b = 0; b < blocks; ++b) {
            uint8_t* rowBase = placement[b].strip ? placement[b].strip : state->outputBase;
            origin[b] = rowBase + placement[b].offset;
        }
        if (state->dcOnly) {
            // One sample per block, written here; the entropy decoder writes
            // each block's DC term afresh and nothing else, so the buffer
            // needs no clearing.
            for (int32_t m = 0; m < state->mcusPerRow; ++m) {
                state->decodeMcu(state, coefficients);
                for (int b = 0; b < blocks; ++b)
                    origin[b][m * placement[b].mcuAdvance] =
                        jpeg::DcOnlySample(coefficients[64 * b], placement[b].table[0]);
            }
        } else {
            for (int32_t m = 0; m < state->mcusPerRow; ++m) {
                state->decodeMcu(state, coefficients);
                for (int b = 0; b < blocks; ++b) {
                    int32_t* block = coefficients + 64 * b;
                    const int last = state->lastIndex[b];
                    transform(origin[b] + m * placement[b].mcuAdvance, block, placement[b].table,
                              placement[b].rowStep, placement[b].columnStep, last);
                    ClearBlock(block, last);
                }
            }
        }
        if (bands)
            bands->McuRowDone(r);
        else
            state->outputBase += blockSize * mcuBlocksHigh * stride;
    }
    ReportProgress(state->progress, 100, 100);
    state->outputBase = base;
    if (bands) {
        // Assembled already; the phase is reported as PostExpand reports it.
        ReportStatus(state->progress, "Assembling components", 0, 100);
        for (int c = 0; c < components; ++c) ReportProgress(state->progress, c + 1, components);
        if (state->convertWidth > 0 && state->convertHeight > 0) {
            ConvertOutsideBands(state);
            state->converted = 1;
        }
    } else if (!PostExpand(state)) {
        return false;
    }
    state->endOfScan(state);
    for (int c = 0; c < components; ++c) {
        std::free(state->components[c]->dequant);
        state->components[c]->dequant = nullptr;
    }
    return true;
}
