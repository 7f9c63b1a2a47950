#include "display/ProgressPlacement.h"

ProgressSlotSet g_progressSlots;

int ProgressSlotSet::Take() {
    for (int slot = 0; slot < kProgressSlots; ++slot) {
        if (!InUse(slot)) {
            words_[slot / 32] |= 1u << (slot % 32);
            return slot;
        }
    }
    return kProgressSlots;
}

void ProgressSlotSet::Release(int slot) {
    if (slot >= 0 && slot < kProgressSlots) words_[slot / 32] &= ~(1u << (slot % 32));
}

bool ProgressSlotSet::InUse(int slot) const {
    return slot >= 0 && slot < kProgressSlots && (words_[slot / 32] >> (slot % 32)) & 1u;
}

bool ProgressDialogPosition(int slot, int width, int height, int screenWidth, int screenHeight,
                            int* x, int* y) {
    if (slot < 0 || slot >= kProgressSlots) return false;
    // A dialog wider than the screen still gets one column.
    int columns = width > 0 ? screenWidth / width : 1;
    if (columns < 1) columns = 1;
    const int column = slot % columns;
    const int row = slot / columns;
    *x = screenWidth - (column + 1) * width;
    *y = screenHeight - (row + 1) * height;
    return true;
}
