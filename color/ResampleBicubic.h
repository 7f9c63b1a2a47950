// Scaling with a separable cubic convolution filter (a = -1) into a 24-bit
// destination, and a nearest-neighbour resampler beside it.
#pragma once
#include <cstdint>

class Image;
class Progress;

bool ResampleBicubic(Image* destination, Image* source, Progress* progress);
bool ResampleNearest(Image* destination, Image* source, Progress* progress);

// The filter's weight table: the weight of tap 0..3 (the source pixels at
// distances 1 + f, f, 1 - f and 2 - f from the sampling position) for the
// fraction f = fraction / 256, scaled by 65536.
int32_t BicubicWeight(int tap, int fraction);
