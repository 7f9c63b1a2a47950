// Where progress dialogs go: 256 slots, taken lowest first, tiled from the
// bottom-right corner of the screen leftwards and then upwards. Portable so
// the arithmetic is tested natively.
#pragma once
#include <cstdint>

constexpr int kProgressSlots = 256;

class ProgressSlotSet {
public:
    // The lowest free slot, now marked; kProgressSlots when all are taken
    // (nothing is marked then).
    int Take();
    // Frees a slot below kProgressSlots; others are ignored.
    void Release(int slot);
    bool InUse(int slot) const;

private:
    uint32_t words_[kProgressSlots / 32] = {};
};

// The process-wide set every progress dialog takes its slot from.
extern ProgressSlotSet g_progressSlots;

// Top-left corner of a dialog of outer size width x height in slot `slot` on
// a screen of screenWidth x screenHeight: columns = screenWidth / width,
// column = slot % columns, row = slot / columns, x = screenWidth -
// (column + 1) * width, y = screenHeight - (row + 1) * height. False (and
// nothing set) for the unplaced slot kProgressSlots.
bool ProgressDialogPosition(int slot, int width, int height, int screenWidth, int screenHeight,
                            int* x, int* y);
