#include "color/FixedPalettes.h"

namespace {
constexpr FixedColour Rgb(int red, int green, int blue) {
    return {static_cast<uint8_t>(blue), static_cast<uint8_t>(green), static_cast<uint8_t>(red)};
}

constexpr std::array<FixedColour, 16> kVga = {
    Rgb(0, 0, 0),       Rgb(128, 0, 0),   Rgb(0, 128, 0),   Rgb(128, 128, 0),
    Rgb(0, 0, 128),     Rgb(128, 0, 128), Rgb(0, 128, 128), Rgb(192, 192, 192),
    Rgb(128, 128, 128), Rgb(255, 0, 0),   Rgb(0, 255, 0),   Rgb(255, 255, 0),
    Rgb(0, 0, 255),     Rgb(255, 0, 255), Rgb(0, 255, 255), Rgb(255, 255, 255),
};

// The middle 240: a 6 x 6 x 6 cube in steps of 51 without the 8 corners the
// VGA colours already hold (208 colours), then 32 greys placed in cube cells
// (6 bits per channel) that neither the cube nor the VGA greys occupy, so
// every one of the 256 entries has a cell of its own.
constexpr std::array<uint8_t, 32> kGreys = {
    6,   10,  18,  26,  34,  42,  54,  58,  66,  74,  82,  90,  98,  106, 114, 122,
    134, 138, 146, 158, 162, 170, 178, 186, 198, 202, 210, 218, 226, 234, 242, 250,
};

constexpr bool IsVgaCorner(int red, int green, int blue) {
    return (red == 0 || red == 255) && (green == 0 || green == 255) && (blue == 0 || blue == 255);
}

constexpr std::array<FixedColour, 256> Build256() {
    std::array<FixedColour, 256> table{};
    int n = 0;
    for (int i = 0; i < 8; ++i) table[n++] = kVga[i];
    for (int red = 0; red <= 255; red += 51)
        for (int green = 0; green <= 255; green += 51)
            for (int blue = 0; blue <= 255; blue += 51)
                if (!IsVgaCorner(red, green, blue)) table[n++] = Rgb(red, green, blue);
    for (uint8_t grey : kGreys) table[n++] = Rgb(grey, grey, grey);
    for (int i = 8; i < 16; ++i) table[n++] = kVga[i];
    return table;
}
}  // namespace

extern const std::array<FixedColour, 2> kFixedPalette2 = {Rgb(0, 0, 0), Rgb(255, 255, 255)};
extern const std::array<FixedColour, 16> kFixedPalette16 = kVga;
extern const std::array<FixedColour, 256> kFixedPalette256 = Build256();
