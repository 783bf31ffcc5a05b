#include "image/byte_io.h"

#include <algorithm>
#include <cstring>
#include <string>

#if defined(_WIN32)
#include <wchar.h>
#endif

namespace kwr {

std::FILE* openPath(const char* path, bool write) {
    if (path == nullptr) return nullptr;
    return std::fopen(path, write ? "wb" : "rb");
}

#if defined(_WIN32)

std::FILE* openPath(const wchar_t* path, bool write) {
    if (path == nullptr) return nullptr;
    return _wfopen(path, write ? L"wb" : L"rb");
}

#else

namespace {

// UTF-8 of a wide string (UTF-32 here); false for values that are not
// Unicode scalar values (surrogates, above U+10FFFF).
bool toUtf8(const wchar_t* s, std::string& out) {
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

}  // namespace

std::FILE* openPath(const wchar_t* path, bool write) {
    if (path == nullptr) return nullptr;
    std::string narrow;
    if (!toUtf8(path, narrow)) return nullptr;
    return openPath(narrow.c_str(), write);
}

#endif

Input::Input(const void* data, std::size_t size)
    : file_(nullptr),
      start_(static_cast<const unsigned char*>(data)),
      cur_(start_),
      end_(data == nullptr ? start_ : start_ + size),
      base_(0) {}

Input::Input(std::FILE* file) : file_(file), start_(buffer_), cur_(buffer_), end_(buffer_), base_(0) {}

bool Input::refill() {
    if (file_ == nullptr) return false;
    base_ += static_cast<std::uint64_t>(end_ - start_);
    const std::size_t got = std::fread(buffer_, 1, sizeof buffer_, file_);
    start_ = cur_ = buffer_;
    end_ = buffer_ + got;
    return got != 0;
}

bool Input::read(void* dst, std::size_t n) {
    unsigned char* out = static_cast<unsigned char*>(dst);
    while (n != 0) {
        if (cur_ == end_ && !refill()) return false;
        const std::size_t chunk = std::min<std::size_t>(n, static_cast<std::size_t>(end_ - cur_));
        std::memcpy(out, cur_, chunk);
        cur_ += chunk;
        out += chunk;
        n -= chunk;
    }
    return true;
}

bool Input::skip(std::uint64_t n) {
    // Read over rather than seek: a seek past the end of a file succeeds, so
    // a file would then end later than the same bytes in memory do.
    while (n != 0) {
        if (cur_ == end_ && !refill()) return false;
        const std::uint64_t chunk = std::min<std::uint64_t>(n, static_cast<std::uint64_t>(end_ - cur_));
        cur_ += chunk;
        n -= chunk;
    }
    return true;
}

Output::Output(void* buffer, std::size_t capacity)
    : file_(nullptr), buffer_(static_cast<unsigned char*>(buffer)), capacity_(buffer == nullptr ? 0 : capacity), used_(0) {}

Output::Output(std::FILE* file) : file_(file), buffer_(nullptr), capacity_(0), used_(0) {}

bool Output::write(const void* src, std::size_t n) {
    if (file_ != nullptr) return std::fwrite(src, 1, n, file_) == n;
    if (n > capacity_ - used_) return false;
    std::memcpy(buffer_ + used_, src, n);
    used_ += n;
    return true;
}

}  // namespace kwr
