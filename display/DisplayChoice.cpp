#include "display/DisplayChoice.h"

DisplayClass ChooseDisplayClass(bool hasPalette, int displayBits, bool dibSections,
                                bool fixedPalette, bool dither15) {
    if (!dibSections) return DisplayClass::Plain;
    if (hasPalette) {
        if (displayBits >= 5 && !(displayBits < 9 && fixedPalette)) return DisplayClass::DIBSection;
        return DisplayClass::Plain;
    }
    if (displayBits >= 9 && !(displayBits < 17 && dither15)) return DisplayClass::DIBSection;
    return DisplayClass::Plain;
}

DisplayConversion PlanDisplayConversion(int displayBits, bool pictureHasPalette,
                                        const SettingsBlock& settings) {
    const bool dither = settings.disp.bDither != 0;
    if (displayBits <= 1) return {DisplayConversion::Quantise, 2, dither, true};
    if (displayBits < 5) return {DisplayConversion::Quantise, 16, dither, true};
    if (displayBits < 9)
        return {DisplayConversion::Quantise, settings.disp.bUseMaxColors ? 256 : 238, dither,
                settings.disp.bFixedPalette != 0};
    if (displayBits < 17 && !pictureHasPalette && settings.disp.bDither15)
        return {DisplayConversion::Dither15, 0, true, false};
    return {DisplayConversion::AsIs, 0, false, false};
}
