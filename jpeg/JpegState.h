// The state of one JPEG decode: everything the header parsers learn, the
// entropy decoder's position in the file and the stage routines chosen for
// this picture. One JpegState lives on the loader's stack per decode.
#pragma once
#include <cstddef>
#include <cstdint>

class Progress;
struct JpegState;

namespace jpeg {
// Lookahead width of the Huffman tables: codes (and, for AC tables, code
// plus magnitude bits) of at most this many bits decode with one lookup.
constexpr int kLookBits = 11;
// Lookahead width of the AC skip tables of the one-eighth decode: every
// whole run of AC codes with their magnitude bits within this many bits is
// stepped over with one lookup. At 13 bits a luma and a chroma table take
// 32 KB together, which stays in the first-level cache; a wider one steps
// little further and takes longer to build for each picture.
constexpr int kSkipBits = 13;
constexpr int kMaxComponents = 4;
constexpr int kMaxBlocksPerMcu = 10;
}  // namespace jpeg

// Colour-space codes. Recorded for information only: nothing downstream
// reads them, every 3-component picture is converted as YCbCr.
enum JpegColourSpace : int32_t {
    kJpegColourUnknown = 0,
    kJpegColourRGB = 1,
    kJpegColourGrey = 2,
    kJpegColourYCbCr = 4,
    kJpegColourCMYK = 7,
    kJpegColourYCCK = 8,
};

struct JpegComponent {
    uint8_t id;          // C_i from SOF
    int32_t index;       // position in SOF
    int32_t h;           // H_i
    int32_t v;           // V_i
    int32_t quantTable;  // Tq_i
    int32_t dcTable;     // Td_j from SOS
    int32_t acTable;     // Ta_j from SOS
    int32_t paddedWidth;
    int32_t paddedHeight;
    int32_t mcuWidth;   // = H, in blocks
    int32_t mcuHeight;  // = V, in blocks
    int32_t mcuBlocks;  // = H * V
    // Dequantisation multipliers in natural order (null until DCTOpen); the
    // reduced decode keeps only the DC quantiser in dcQuant instead.
    int32_t* dequant;
    int32_t dcQuant;
};

// One entry of the combined AC lookahead: the run and the already
// sign-extended value of a coefficient whose code and magnitude bits fit in
// the lookahead. length 0: not resolvable by lookahead.
struct FastAcEntry {
    int16_t value;
    uint8_t run;     // r; kFastEob for end of block, a run that ends the block
    uint8_t length;  // bits consumed (code + magnitude)
};
constexpr uint8_t kFastEob = 0xFF;
constexpr uint16_t kSkipNothing = 127;

struct HuffTable {
    uint8_t counts[17];    // [0] unused, [1..16] codes of each length
    uint8_t symbols[256];  // in order of increasing code length
    // Indexed by code length directly ([0] unused). largest[17] is the
    // 0xFFFFF sentinel that stops a garbage code after 17 bits.
    int32_t smallest[18];
    int32_t largest[18];
    uint8_t firstSymbol[18];
    // Derived at start of scan: (length << 8 | symbol) of the code that the
    // first kLookBits bits begin with, 0 when it is longer.
    uint16_t look[1 << jpeg::kLookBits];
    FastAcEntry fastAc[1 << jpeg::kLookBits];
    // For skipping AC terms without their values, per kSkipBits-bit prefix:
    // the terms (code and magnitude bits, end of block included) that the
    // prefix holds whole. Bits 0-5: the bits they take. Bits 6-12: their
    // zig-zag advance A, the sum of run + 1 (end of block counting 1), which
    // may be taken at zig-zag index k when k + A <= 64 (no term but the last
    // then reaches past the last coefficient). Bit 15: the last is end of
    // block, so that k plus the entry shifted down by 6 passes 64. An entry
    // resolving nothing has A = kSkipNothing.
    uint16_t skipAc[1 << jpeg::kSkipBits];
};

// Reads the entropy-coded bytes as one bit stream: a byte that follows 0xFF
// is skipped whatever it is, and past the end of the mapped bytes the stream
// is zeros. The unconsumed bits sit at the top of `acc` (the next bit is bit
// 63), so a lookahead is one shift. Where the stream stands in the file is
// worked out only when restart handling or the end of the scan asks, from
// the load position and the bits not yet consumed.
struct BitReader {
    const uint8_t* data;
    size_t size;
    size_t position;  // next byte to load (may run past size: zeros)
    size_t start;     // where this stretch of the stream began
    uint64_t acc;
    int bits;  // unconsumed bits at the top of acc
};

using StageRoutine = bool (*)(JpegState* state);
using McuRoutine = void (*)(JpegState* state, int32_t* coefficients);
// Writes one block's samples at dest + row * rowStep + column * columnStep.
// lastIndex is the highest zig-zag index the entropy decoder wrote.
using BlockRoutine = void (*)(uint8_t* dest, int32_t* block, const int32_t* table,
                              ptrdiff_t rowStep, ptrdiff_t columnStep, int lastIndex);

struct JpegState {
    // The mapped file and the read cursor of the header parsers.
    const uint8_t* data;
    size_t size;
    size_t cursor;
    uint8_t* outputBase;
    ptrdiff_t outputStride;
    size_t outputBytes;  // the destination's pixel block, for the size check
    Progress* progress;
    uint8_t fastIdct;
    uint8_t fastUpsampling;
    uint8_t dcOnly;
    // The picture rows and columns (from the top left) that the decode is
    // to leave converted to blue, green, red; 0 when the caller converts.
    // `converted` tells whether it did.
    int32_t convertWidth;
    int32_t convertHeight;
    uint8_t converted;
    int32_t imageHeight;
    int32_t imageWidth;
    int32_t paddedWidth;
    int32_t paddedHeight;
    int32_t precision;
    int32_t componentCount;  // Nf
    int32_t colourSpace;
    uint8_t densityUnit;
    int32_t xDensity;
    int32_t yDensity;
    JpegComponent* components[jpeg::kMaxComponents];
    uint32_t quantTables[4][64];  // zig-zag order, as read
    HuffTable dcTables[4];
    HuffTable acTables[4];
    uint8_t arithDcLower[16];
    uint8_t arithDcUpper[16];
    uint8_t arithAcK[16];
    uint8_t arithmetic;
    uint8_t differential;
    uint8_t ccir601;
    int32_t hMax;
    int32_t vMax;
    int32_t scanCount;  // Ns
    JpegComponent* scanComponents[jpeg::kMaxComponents];
    // MCU geometry and restart state.
    int32_t mcusPerRow;
    int32_t mcuRows;
    int32_t blocksPerMcu;
    int32_t mcuMembership[jpeg::kMaxBlocksPerMcu];
    int32_t restartInterval;
    int32_t mcusToRestart;
    int32_t nextRestart;
    int32_t dcPredictor[jpeg::kMaxComponents];
    int32_t lastIndex[jpeg::kMaxBlocksPerMcu];  // per block of the current MCU
    BitReader reader;
    StageRoutine startOfScan;
    McuRoutine decodeMcu;
    StageRoutine endOfScan;
    BlockRoutine idctBlock;
};

// Marker codes.
namespace jpeg {
enum Marker : int {
    kTEM = 0x01,
    kSOF0 = 0xC0,
    kSOF1 = 0xC1,
    kSOF2 = 0xC2,
    kSOF3 = 0xC3,
    kDHT = 0xC4,
    kSOF5 = 0xC5,
    kSOF9 = 0xC9,
    kSOF11 = 0xCB,
    kDAC = 0xCC,
    kSOF13 = 0xCD,
    kSOF15 = 0xCF,
    kRST0 = 0xD0,
    kRST7 = 0xD7,
    kSOI = 0xD8,
    kEOI = 0xD9,
    kSOS = 0xDA,
    kDQT = 0xDB,
    kDNL = 0xDC,
    kDRI = 0xDD,
    kDHP = 0xDE,
    kEXP = 0xDF,
    kAPP0 = 0xE0,
    kAPP13 = 0xED,
    kAPP14 = 0xEE,
    kAPP15 = 0xEF,
    kJPG0 = 0xF0,
    kJPG13 = 0xFD,
    kCOM = 0xFE,
};
// Returned by the marker scan when the mapped bytes end first.
constexpr int kNoMarker = -1;
}  // namespace jpeg
