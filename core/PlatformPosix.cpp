// POSIX implementation of the platform layer: mmap for files, calloc for
// pixel memory, stderr for message boxes.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "core/Platform.h"

namespace platform {

// Descriptors are stored plus one so that descriptor 0 is not "no handle".
static int Descriptor(Handle handle) { return static_cast<int>(handle - 1); }

MapStatus MapWholeFile(const char* path, Handle* file, Handle* mapping, const uint8_t** view,
                       uint32_t* size) {
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return MapStatus::OpenFailed;
    *file = static_cast<Handle>(fd) + 1;
    struct stat info;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return MapStatus::MappingFailed;
    // Only the low 32 bits of the size count, as with the Win32 file size.
    *size = static_cast<uint32_t>(static_cast<uint64_t>(info.st_size));
    // An empty file cannot be mapped (the Win32 mapping refuses it too).
    if (*size == 0) return MapStatus::MappingFailed;
#ifdef POSIX_FADV_SEQUENTIAL
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    *mapping = *file;  // POSIX has no separate mapping object
    void* address = ::mmap(nullptr, *size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (address == MAP_FAILED) return MapStatus::ViewFailed;
    *view = static_cast<const uint8_t*>(address);
    return MapStatus::Ok;
}

void UnmapView(const uint8_t* view, uint32_t size) { ::munmap(const_cast<uint8_t*>(view), size); }

void CloseMapping(Handle) {}

void CloseFile(Handle file) { ::close(Descriptor(file)); }

bool ReadWholeFile(const char* path, std::vector<char>* bytes) {
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat info;
    const bool regular = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    const uint32_t size = regular ? static_cast<uint32_t>(static_cast<uint64_t>(info.st_size)) : 0;
    bytes->assign(static_cast<size_t>(size) + 1, '\0');
    size_t done = 0;
    while (done < size) {
        const ssize_t got = ::read(fd, bytes->data() + done, size - done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<size_t>(got);
    }
    bytes->resize(done + 1);
    ::close(fd);
    return true;
}

Handle CreateFileForWriting(const char* path) {
    const int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    return fd < 0 ? 0 : static_cast<Handle>(fd) + 1;
}

bool WriteBytes(Handle file, const void* data, size_t count) {
    const char* bytes = static_cast<const char*>(data);
    while (count > 0) {
        const ssize_t written = ::write(Descriptor(file), bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes += written;
        count -= static_cast<size_t>(written);
    }
    return true;
}

void* AllocFixed(size_t bytes) { return std::calloc(bytes ? bytes : 1, 1); }

void FreeFixed(void* block) { std::free(block); }

void DefaultMessageBox(const char* caption, const char* text) {
    std::fprintf(stderr, "%s: %s\n", caption, text);
}

void EndProcess(int code) {
    std::fflush(nullptr);
    std::exit(code);
}

bool FillWhite(void*, int, int, int, int) { return true; }

}  // namespace platform
