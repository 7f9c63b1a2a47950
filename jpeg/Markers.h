// Marker scanning and the marker-segment parsers. Each parser takes the
// state with its cursor on the segment's length field and returns false
// after filling the error report.
#pragma once
#include <cstddef>
#include <cstdint>

#include "jpeg/JpegState.h"

namespace jpeg {
// Skips to the next marker: any bytes up to a 0xFF, then fill bytes 0xFF; a
// 0xFF 0x00 pair is stuffed data and the scan goes on. Returns the marker
// code with the cursor after it, or kNoMarker when the bytes run out.
int NextMarker(const uint8_t* data, size_t size, size_t* cursor);

// Resets the header defaults (restart interval, densities, colour space,
// arithmetic conditioning, CCIR 601 flag) and the tables to zero.
void ResetDefaults(JpegState* state);

bool InitialSetup(JpegState* state);
}  // namespace jpeg

bool jdReadFileHeader(JpegState* state);
bool jdReadScanHeader(JpegState* state);
// Loops over markers until a frame or scan boundary: returns that marker,
// or -1 after a failure (the error report says which).
int jpegGetTables(JpegState* state);
bool jpegGetDHT(JpegState* state);
bool jpegGetDAC(JpegState* state);
bool jpegGetDQT(JpegState* state);
bool jpegGetDRI(JpegState* state);
bool jpegGetAPP0(JpegState* state);
bool jpegGetAPP14(JpegState* state);
bool jpegGetSOF(JpegState* state);
bool jpegGetSOS(JpegState* state);
bool jpegSkipSegment(JpegState* state);
bool jSelDMCU(JpegState* state);
// Frees every component record of the state (the loader's last step).
void jpegFreeComponents(JpegState* state);
