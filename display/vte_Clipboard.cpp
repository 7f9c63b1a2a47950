#include "display/vte_Clipboard.h"

#include <cstdint>

#include "core/Error.h"
#include "core/Image.h"
#include "display/PackedDib.h"

namespace {

ClipboardCalls g_clipboard = SystemClipboardCalls();

bool CannotCopy() { return SetError("vte_Clipboard()", "Couldn't copy bitmap to clipboard"); }

}  // namespace

ClipboardCalls SystemClipboardCalls() {
    return {OpenClipboard, EmptyClipboard, SetClipboardData, CloseClipboard};
}

ClipboardCalls SetClipboardCalls(const ClipboardCalls& calls) {
    const ClipboardCalls previous = g_clipboard;
    g_clipboard = calls;
    return previous;
}

bool vte_Clipboard(HWND window, Image* image) {
    if (!image) return true;
    if (!g_clipboard.open(window))
        return SetError("vte_Clipboard()", "Couldn't open the clipboard");
    g_clipboard.empty();

    // A block the system will not give (or whose size does not fit the
    // address space) cannot be handed over; it ends like a refused hand-over
    // instead of writing through a null pointer.
    const uint64_t bytes = PackedDibBytes(*image);
    HGLOBAL block = nullptr;
    if (bytes <= static_cast<uint64_t>(SIZE_MAX))
        block = GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, static_cast<SIZE_T>(bytes));
    auto* data = block ? static_cast<uint8_t*>(GlobalLock(block)) : nullptr;
    if (!data) {
        if (block) GlobalFree(block);
        g_clipboard.close();
        return CannotCopy();
    }
    WritePackedDib(*image, data);
    GlobalUnlock(block);

    if (!g_clipboard.setData(CF_DIB, block)) {
        GlobalFree(block);
        g_clipboard.close();
        return CannotCopy();
    }
    // The clipboard owns the block now.
    g_clipboard.close();
    return true;
}
