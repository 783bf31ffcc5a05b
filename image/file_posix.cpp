// The image library's file calls outside Windows (POSIX).
#if !defined(_WIN32)

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

#include "image/byte_io.h"

namespace kwr {

bool nativePath(const char* path, NativePath& out) {
    if (path == nullptr) return false;
    out = path;
    return true;
}

// UTF-8 of a wide string (UTF-32 here); false for values that are not
// Unicode scalar values (surrogates, above U+10FFFF).
bool nativePath(const wchar_t* s, NativePath& out) {
    if (s == nullptr) return false;
    out.clear();
    for (; *s != 0; ++s) {
        const std::uint32_t c = static_cast<std::uint32_t>(*s);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            if (c >= 0xD800 && c <= 0xDFFF) return false;
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c <= 0x10FFFF) {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            return false;
        }
    }
    return true;
}

std::FILE* openNative(const NativePath& path, bool write) { return std::fopen(path.c_str(), write ? "wb" : "rb"); }

bool isRegularOrMissing(const NativePath& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return errno == ENOENT;
    return S_ISREG(st.st_mode);
}

std::FILE* createNew(const NativePath& path) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) return nullptr;
    std::FILE* f = fdopen(fd, "wb");
    if (f == nullptr) {
        const int reason = errno;
        ::close(fd);
        errno = reason;
    }
    return f;
}

bool syncAndClose(std::FILE* file) {
    bool ok = std::fflush(file) == 0;
    // Where the file system cannot sync this file (EINVAL: a pipe or a
    // device), its data is as written as it can be.
    if (ok && fsync(fileno(file)) != 0 && errno != EINVAL && errno != EROFS) ok = false;
    const int reason = errno;
    if (std::fclose(file) != 0 && ok) return false;
    errno = reason;
    return ok;
}

bool moveOver(const NativePath& from, const NativePath& to) { return std::rename(from.c_str(), to.c_str()) == 0; }

void removeFile(const NativePath& path) { std::remove(path.c_str()); }

NativePath temporaryBeside(const NativePath& path) {
    static std::atomic<unsigned> counter{0};
    return path + ".tmp-" + std::to_string(static_cast<long long>(getpid())) + "-" + std::to_string(++counter);
}

}  // namespace kwr

#endif
