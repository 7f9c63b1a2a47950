// Whole-row helpers shared by the readers. Counts are pixels unless a
// parameter says bytes.
#pragma once
#include <cstddef>
#include <cstdint>

// Copies `rows` rows of min(strides) bytes. When source and destination are
// the same block and the strides differ it works from the last row
// backwards, so a block can be widened in place.
void CopyRows(uint8_t* destination, int destinationStride, const uint8_t* source, int sourceStride,
              int rows);

// Swaps the first and third byte of every 3-byte pixel (red/blue order).
void SwapRedBlue(uint8_t* firstRow, int width, int stride, int rows);

// Copies `pixels` 3-byte pixels with their first and third bytes swapped.
// Destination and source are the same block or do not overlap. Uses the
// processor's byte shuffle where it has one (SSSE3).
void CopySwappingRedBlue(uint8_t* destination, const uint8_t* source, size_t pixels);
// The same in plain 64-bit arithmetic, as on processors without it.
void CopySwappingRedBluePortably(uint8_t* destination, const uint8_t* source, size_t pixels);

// Builds 3-byte pixels from three planes of one row: the third plane's byte
// first, then the second's, then the first's.
void PlanesToPixels(uint8_t* destination, const uint8_t* firstPlane, int width,
                    ptrdiff_t planeDistance);

// Merges `planes` bit planes of one row into one index byte per pixel: plane
// k supplies bit k, most significant bit of each plane byte first. The output
// is cleared over width rounded up to 8 first.
void BitPlanesToIndices(uint8_t* destination, const uint8_t* firstPlane, int width, int planes,
                        ptrdiff_t planeDistance);

// Every source byte becomes 8, 4 or 2 index bytes, most significant bits first.
void Unpack1Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes);
void Unpack2Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes);
void Unpack4Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes);
