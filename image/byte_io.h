// Byte input and output of the image library: a file or a memory block
// behind one small interface, and the opening of narrow and wide paths.
#ifndef KWR_IMAGE_BYTE_IO_H
#define KWR_IMAGE_BYTE_IO_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace kwr {

// Opens a file for binary reading (write false) or writing (write true).
// Narrow paths go to fopen; wide paths to _wfopen on Windows and, elsewhere,
// are converted to UTF-8 first (null when a wide character is not a Unicode
// scalar value).
std::FILE* openPath(const char* path, bool write);
std::FILE* openPath(const wchar_t* path, bool write);

// Sequential reading from a memory block or an open file, buffered.  Every
// read is bounded by what the source holds; nothing is read ahead beyond one
// buffer.
class Input {
public:
    Input(const void* data, std::size_t size);
    explicit Input(std::FILE* file);
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

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
