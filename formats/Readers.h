// Identify routines of every reader in the import format table.
#pragma once
#include "core/ImageImpFile.h"

bool vti_BMP(ImageImpFile* imp);  // BMP, DIB, RLE, icons and cursors
bool vti_GIF(ImageImpFile* imp);
bool vti_PNG(ImageImpFile* imp);
bool vti_JPEG(ImageImpFile* imp);
bool vti_TIF(ImageImpFile* imp);
bool vti_TGA(ImageImpFile* imp);
bool vti_PCX(ImageImpFile* imp);
bool vti_IFF(ImageImpFile* imp);  // ILBM and PBM
bool vti_PxM(ImageImpFile* imp);  // PBM, PGM, PPM
bool vti_RAS(ImageImpFile* imp);  // Sun raster
bool vti_MAC(ImageImpFile* imp);  // MacPaint
bool vti_NEO(ImageImpFile* imp);  // Atari Neochrome
bool vti_PIC(ImageImpFile* imp);  // Pictor / PC Paint
bool vti_VTS(ImageImpFile* imp);  // slide-show scripts
