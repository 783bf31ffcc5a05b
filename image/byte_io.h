// Byte input and output of the image library: a file or a memory block
// behind one small interface, and the opening of narrow and wide paths.
#ifndef KWR_IMAGE_BYTE_IO_H
#define KWR_IMAGE_BYTE_IO_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace kwr {

// Opens a file for binary reading.  Narrow paths go to fopen; wide paths
// to _wfopen on Windows and, elsewhere, are converted to UTF-8 first (null
// when a wide character is not a Unicode scalar value).
std::FILE* openPath(const char* path);
std::FILE* openPath(const wchar_t* path);

// A path in the form the system's file calls take: UTF-16 on Windows,
// bytes (UTF-8 from wide paths) elsewhere.
#if defined(_WIN32)
using NativePath = std::wstring;
#else
using NativePath = std::string;
#endif

// The system's file calls behind openPath and FileReplacement (one file
// per system).  nativePath is false for a path that has no native form.
bool nativePath(const char* path, NativePath& out);
bool nativePath(const wchar_t* path, NativePath& out);
// Opens an existing file for binary reading, or any file for writing.
std::FILE* openNative(const NativePath& path, bool write);
// True when `path` is a regular file or does not exist.
bool isRegularOrMissing(const NativePath& path);
// Creates `path`, which must not exist, for binary writing.
std::FILE* createNew(const NativePath& path);
// Writes the stream's buffer and the file's data to the disk and closes it;
// false (errno set) when any step fails.  The stream is closed either way.
bool syncAndClose(std::FILE* file);
// Moves `from` over `to` in one step, replacing what `to` was.
bool moveOver(const NativePath& from, const NativePath& to);
void removeFile(const NativePath& path);
// A name for a temporary file beside `path`, unique among this process's
// threads and the processes of the machine.
NativePath temporaryBeside(const NativePath& path);

// A file written under a temporary name beside its destination and moved
// over the destination only when complete, so that a failed or interrupted
// save leaves the file that was there whole.  A destination that exists and
// is not a regular file (a device, a pipe, a link) is written in place.
class FileReplacement {
public:
    explicit FileReplacement(const char* path);
    explicit FileReplacement(const wchar_t* path);
    ~FileReplacement();  // removes the temporary file of a save not committed
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // The open temporary file, or null when it could not be created (the
    // system's reason is in errno).
    std::FILE* file() const { return file_; }
    // Ends the save: with `error` 0, closes the file, makes it durable and
    // moves it over the destination; returns `error`, or kDibWriteFile when
    // one of those steps fails.  Otherwise the temporary file is removed.
    // errno keeps the reason of the first failure.
    int commit(int error);

private:
    void open();
    void dropTemporary();

    std::FILE* file_ = nullptr;
    bool inPlace_ = false;
    NativePath target_, temp_;
};

// Sequential reading from a memory block or an open file, buffered.  Every
// read is bounded by what the source holds; nothing is read ahead beyond one
// buffer.
class Input {
public:
    Input(const void* data, std::size_t size);
    explicit Input(std::FILE* file);
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    // Whether the source starts with these n bytes, read without consuming
    // them (only before the first read, n at most one buffer).
    bool startsWith(const void* bytes, std::size_t n);
    // Copies the next n bytes to dst; false (and dst partly written) when
    // the source ends first.
    bool read(void* dst, std::size_t n);
    // Passes over n bytes; false when the source ends first.
    bool skip(std::uint64_t n);
    // The next byte, or -1 at the end.
    int get() {
        if (cur_ == end_ && !refill()) return -1;
        return *cur_++;
    }
    // Bytes consumed so far.
    std::uint64_t position() const { return base_ + static_cast<std::uint64_t>(cur_ - start_); }

private:
    bool refill();

    std::FILE* file_;
    const unsigned char* start_;  // start of the current buffer
    const unsigned char* cur_;
    const unsigned char* end_;
    std::uint64_t base_;          // stream offset of start_
    unsigned char buffer_[16384];
};

// Sequential writing to a memory block of fixed capacity or an open file.
class Output {
public:
    Output(void* buffer, std::size_t capacity);
    explicit Output(std::FILE* file);

    // False when the block is full or the file write failed.
    bool write(const void* src, std::size_t n);

private:
    std::FILE* file_;
    unsigned char* buffer_;
    std::size_t capacity_;
    std::size_t used_;
};

// Little-endian fields of file headers.
inline std::uint16_t le16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t le32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}
inline void putLe16(unsigned char* p, std::uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}
inline void putLe32(unsigned char* p, std::uint32_t v) {
    putLe16(p, v);
    putLe16(p + 2, v >> 16);
}

}  // namespace kwr

#endif
