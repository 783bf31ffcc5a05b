#include "image/byte_io.h"

#include "render/dib_stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kwr {

std::FILE* openPath(const char* path) {
    NativePath native;
    return nativePath(path, native) ? openNative(native, false) : nullptr;
}

std::FILE* openPath(const wchar_t* path) {
    NativePath native;
    return nativePath(path, native) ? openNative(native, false) : nullptr;
}

FileReplacement::FileReplacement(const char* path) {
    if (nativePath(path, target_)) open();
}

FileReplacement::FileReplacement(const wchar_t* path) {
    if (nativePath(path, target_)) open();
}

void FileReplacement::open() {
    inPlace_ = !isRegularOrMissing(target_);
    if (inPlace_) {
        file_ = openNative(target_, true);
    } else {
        temp_ = temporaryBeside(target_);
        file_ = createNew(temp_);
    }
}

FileReplacement::~FileReplacement() {
    if (file_ != nullptr) std::fclose(file_);
    file_ = nullptr;
    dropTemporary();
}

void FileReplacement::dropTemporary() {
    if (inPlace_ || temp_.empty()) return;
    const int reason = errno;  // the caller reports why the save failed, not how the cleanup went
    removeFile(temp_);
    temp_.clear();
    errno = reason;
}

int FileReplacement::commit(int error) {
    if (file_ == nullptr) return error != kDibOk ? error : kDibOpenFile;
    std::FILE* f = file_;
    file_ = nullptr;
    if (error != kDibOk) {
        const int reason = errno;
        std::fclose(f);
        errno = reason;
    } else if (!syncAndClose(f) || (!inPlace_ && !moveOver(temp_, target_))) {
        error = kDibWriteFile;
    } else {
        temp_.clear();  // it is the destination now
    }
    dropTemporary();
    return error;
}

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

bool Input::startsWith(const void* bytes, std::size_t n) {
    if (position() != 0 || n > sizeof buffer_) return false;
    if (cur_ == end_ && !refill()) return false;
    // A file's first buffer holds its first bytes unless the file is shorter.
    return static_cast<std::size_t>(end_ - cur_) >= n && std::memcmp(cur_, bytes, n) == 0;
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
