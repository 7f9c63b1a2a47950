// Huffman entropy decoding of the single interleaved scan, with restart
// handling.
//
// The codes are canonical: a code of length l is decoded at the first l
// whose code value is no larger than the largest code of that length. The
// decoder resolves the first kLookBits bits with one table lookup (for AC
// tables also the magnitude bits that follow) and continues bit by bit
// beyond that, so every bit string, corrupt ones included, decodes to
// exactly what the bit-at-a-time procedure gives.
#pragma once
#include <cstddef>
#include <cstdint>

#include "jpeg/JpegState.h"

namespace jpeg {

// Builds smallest/largest/first-symbol and the lookahead tables from the
// counts and symbols, and with skipTable the AC skip table of the one-eighth
// decode.
void DeriveTable(HuffTable* table, bool skipTable = true);

void StartBits(BitReader* reader, const uint8_t* data, size_t size, size_t position);
// Where the bit-at-a-time reader's cursor stands (the byte it is consuming,
// or the next untouched byte), and whether that byte is partly used.
size_t BitCursor(const BitReader* reader, bool* partlyUsed);

// Decodes one block into `block` (natural order, zeroed by the caller) and
// updates the predictor. Returns the highest zig-zag index written, capped
// at 63 (0 when only the DC term was). With storeAc false only the DC term
// is written and the AC terms are stepped over (the one-eighth decode needs
// only DC).
int DecodeBlock(BitReader* reader, const HuffTable* dc, const HuffTable* ac, int32_t* predictor,
                int32_t* block, bool storeAc);

// Stage routines installed by the loader.
bool HuffStartOfScan(JpegState* state);
void HuffDecodeMcu(JpegState* state, int32_t* coefficients);
bool HuffEndOfScan(JpegState* state);
// Finds the expected RSTn; any other marker ends the program.
void ProcessRestart(JpegState* state);

}  // namespace jpeg
