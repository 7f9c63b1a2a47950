// The decoding pipeline of the single scan: MCU layout, entropy decoding and
// inverse DCT straight into the destination, then the in-place upsampling.
#pragma once
#include "jpeg/JpegState.h"

bool jdPipe(JpegState* state);
bool PostExpand(JpegState* state);
