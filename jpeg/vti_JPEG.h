// The JPEG reader of the format table: the header probe (vti_JPEG, declared
// with the other readers) and the common loader behind its two row loaders.
#pragma once
#include "core/ImageImpFile.h"

// Decodes the file's single scan into `image`: the full picture, or with
// dcOnly one pixel per 8x8 block (the one-eighth decode for thumbnails).
bool jpegLoad(ImageImpFile* imp, Image* image, Progress* progress, bool dcOnly);
