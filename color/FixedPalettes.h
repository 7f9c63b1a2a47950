// The fixed palettes of the 8-bit quantiser: 2 colours (black, white), the
// 16 standard VGA colours, and 256 colours whose first and last 8 are those
// 16 and whose middle 240 are spread over the cube. Entries are stored blue,
// green, red (the byte order of a 24-bit pixel); a palette entry takes them
// reversed.
#pragma once
#include <array>
#include <cstdint>

using FixedColour = std::array<uint8_t, 3>;  // blue, green, red

extern const std::array<FixedColour, 2> kFixedPalette2;
extern const std::array<FixedColour, 16> kFixedPalette16;
extern const std::array<FixedColour, 256> kFixedPalette256;
