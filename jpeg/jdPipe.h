// The decoding pipeline of the single scan: MCU layout, entropy decoding and
// inverse DCT, for the common colour layouts into component strips that are
// assembled band by band (Bands.h), for the others straight into the
// destination with the in-place upsampling (PostExpand) after.
#pragma once
#include "jpeg/JpegState.h"

bool jdPipe(JpegState* state);
bool PostExpand(JpegState* state);
