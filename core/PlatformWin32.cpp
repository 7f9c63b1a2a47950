// Win32 implementation of the platform layer: file mappings, GlobalAlloc for
// pixel memory, MessageBoxA.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "core/Platform.h"

namespace platform {

static HANDLE AsHandle(Handle handle) { return reinterpret_cast<HANDLE>(handle); }
static Handle FromHandle(HANDLE handle) { return reinterpret_cast<Handle>(handle); }

MapStatus MapWholeFile(const char* path, Handle* file, Handle* mapping, const uint8_t** view,
                       uint32_t* size) {
    HANDLE fileHandle = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (fileHandle == INVALID_HANDLE_VALUE) return MapStatus::OpenFailed;
    *file = FromHandle(fileHandle);
    *size = GetFileSize(fileHandle, nullptr);
    HANDLE mappingHandle = CreateFileMappingA(fileHandle, nullptr, PAGE_READONLY, 0, 0, nullptr);
    if (!mappingHandle) return MapStatus::MappingFailed;
    *mapping = FromHandle(mappingHandle);
    void* address = MapViewOfFile(mappingHandle, FILE_MAP_READ, 0, 0, 0);
    if (!address) return MapStatus::ViewFailed;
    *view = static_cast<const uint8_t*>(address);
    return MapStatus::Ok;
}

void UnmapView(const uint8_t* view, uint32_t) { UnmapViewOfFile(view); }

void CloseMapping(Handle mapping) { CloseHandle(AsHandle(mapping)); }

void CloseFile(Handle file) { CloseHandle(AsHandle(file)); }

bool ReadWholeFile(const char* path, std::vector<char>* bytes) {
    HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    const DWORD size = GetFileSize(file, nullptr);
    const DWORD length = size == INVALID_FILE_SIZE ? 0 : size;
    bytes->assign(static_cast<size_t>(length) + 1, '\0');
    DWORD done = 0;
    while (done < length) {
        DWORD got = 0;
        if (!ReadFile(file, bytes->data() + done, length - done, &got, nullptr) || got == 0) break;
        done += got;
    }
    bytes->resize(static_cast<size_t>(done) + 1);
    CloseHandle(file);
    return true;
}

Handle CreateFileForWriting(const char* path) {
    HANDLE h =
        CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    return h == INVALID_HANDLE_VALUE ? 0 : FromHandle(h);
}

bool WriteBytes(Handle file, const void* data, size_t count) {
    const char* bytes = static_cast<const char*>(data);
    while (count > 0) {
        const DWORD chunk = count > 0x40000000 ? 0x40000000 : static_cast<DWORD>(count);
        DWORD written = 0;
        if (!WriteFile(AsHandle(file), bytes, chunk, &written, nullptr) || written == 0)
            return false;
        bytes += written;
        count -= written;
    }
    return true;
}

void* AllocFixed(size_t bytes) {
    return reinterpret_cast<void*>(GlobalAlloc(GMEM_FIXED | GMEM_ZEROINIT, bytes ? bytes : 1));
}

void FreeFixed(void* block) {
    if (block) GlobalFree(reinterpret_cast<HGLOBAL>(block));
}

void DefaultMessageBox(const char* caption, const char* text) {
    MessageBoxA(nullptr, text, caption, MB_ICONEXCLAMATION);
}

void EndProcess(int code) { ExitProcess(static_cast<UINT>(code)); }

bool FillWhite(void* deviceContext, int x, int y, int width, int height) {
    RECT area = {x, y, x + width, y + height};
    FillRect(static_cast<HDC>(deviceContext), &area,
             static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    return true;
}

}  // namespace platform
