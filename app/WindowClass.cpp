#include "app/WindowClass.h"

#include "app/Resource.h"

bool RegisterProgramClass(HINSTANCE instance, const char* name, WNDPROC procedure, UINT style,
                          HCURSOR cursor) {
    WNDCLASSEXA extended = {};
    extended.cbSize = sizeof extended;
    extended.style = style;
    extended.lpfnWndProc = procedure;
    extended.hInstance = instance;
    extended.hIcon = static_cast<HICON>(
        LoadImageA(instance, MAKEINTRESOURCEA(IDI_VANTIREL), IMAGE_ICON, 32, 32, 0));
    extended.hIconSm = static_cast<HICON>(
        LoadImageA(instance, MAKEINTRESOURCEA(IDI_VANTIREL_SMALL), IMAGE_ICON, 16, 16, 0));
    extended.hCursor = cursor;
    extended.lpszClassName = name;
    if (RegisterClassExA(&extended)) return true;
    WNDCLASSA older = {};
    older.style = style;
    older.lpfnWndProc = procedure;
    older.hInstance = instance;
    older.hIcon = extended.hIcon;
    older.hCursor = cursor;
    older.lpszClassName = name;
    return RegisterClassA(&older) != 0;
}
