// The image library's file calls on Windows: UTF-16 paths and a move that
// replaces its destination.
#if defined(_WIN32)

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <string>

#include "image/byte_io.h"

namespace kwr {

// Narrow paths are in the ANSI code page, as fopen takes them.
bool nativePath(const char* path, NativePath& out) {
    if (path == nullptr) return false;
    const int n = MultiByteToWideChar(CP_ACP, 0, path, -1, nullptr, 0);
    if (n <= 0) return false;
    out.assign(static_cast<std::size_t>(n), L'\0');
    if (MultiByteToWideChar(CP_ACP, 0, path, -1, &out[0], n) != n) return false;
    out.pop_back();  // the terminating zero
    return true;
}

bool nativePath(const wchar_t* path, NativePath& out) {
    if (path == nullptr) return false;
    out = path;
    return true;
}

std::FILE* openNative(const NativePath& path, bool write) { return _wfopen(path.c_str(), write ? L"wb" : L"rb"); }

bool isRegularOrMissing(const NativePath& path) {
    const DWORD a = GetFileAttributesW(path.c_str());
    if (a == INVALID_FILE_ATTRIBUTES) return GetLastError() == ERROR_FILE_NOT_FOUND;
    return (a & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

std::FILE* createNew(const NativePath& path) {
    HANDLE h = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        errno = GetLastError() == ERROR_FILE_EXISTS ? EEXIST : EACCES;
        return nullptr;
    }
    const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(h), _O_WRONLY | _O_BINARY);
    if (fd < 0) {
        CloseHandle(h);
        return nullptr;
    }
    std::FILE* f = _fdopen(fd, "wb");
    if (f == nullptr) _close(fd);
    return f;
}

bool syncAndClose(std::FILE* file) {
    bool ok = std::fflush(file) == 0 && _commit(_fileno(file)) == 0;
    const int reason = errno;
    if (std::fclose(file) != 0 && ok) return false;
    errno = reason;
    return ok;
}

bool moveOver(const NativePath& from, const NativePath& to) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
    errno = EACCES;
    return false;
}

void removeFile(const NativePath& path) { DeleteFileW(path.c_str()); }

NativePath temporaryBeside(const NativePath& path) {
    static std::atomic<unsigned> counter{0};
    return path + L".tmp-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++counter);
}

}  // namespace kwr

#endif
