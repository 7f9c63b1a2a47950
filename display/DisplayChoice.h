// Which kind of display image a picture becomes, and what conversion the
// screen's depth and the display options ask for. Portable so every depth
// and setting is tested natively.
#pragma once
#include "core/Settings.h"

enum class DisplayClass {
    Plain,       // a plain Image, painted through a device-dependent bitmap
    DIBSection,  // a DIBSImage whose bits are the pixels
};

// The 5, 9 and 17-bit boundaries are those of the 16-colour, 256-colour and
// high-colour display modes.
DisplayClass ChooseDisplayClass(bool hasPalette, int displayBits, bool dibSections,
                                bool fixedPalette, bool dither15);

struct DisplayConversion {
    enum Kind {
        AsIs,      // the picture's own pixels
        Quantise,  // to a palette of wantColours (clr_Xto8bit)
        Dither15,  // to 5 bits per channel (clr_Dither24to15bit)
    } kind;
    int wantColours;
    bool dither;
    bool fixedPalette;
};

// Palette screens (8 bits or fewer) always get a palette picture: 2 colours
// on 1-bit screens, 16 on 2- to 4-bit screens (both from the fixed palette),
// 256 or 238 on 8-bit screens ("disp.bUseMaxColors"; 238 leaves the system
// colours alone) with "disp.bFixedPalette". High-colour screens dither true
// colour pictures when "disp.bDither15" is on. Everything else is shown as
// it is.
DisplayConversion PlanDisplayConversion(int displayBits, bool pictureHasPalette,
                                        const SettingsBlock& settings);
