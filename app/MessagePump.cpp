#include "app/MessagePump.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

void PumpMessages() {
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
}
