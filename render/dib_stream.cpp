#include "render/dib_stream.h"

#include <cstdlib>
#include <cstring>

namespace kwr {

const char* dibErrorText(int code) {
    switch (code) {
    case kDibOk: return "";
    case kDibSomeError: return "some error";
    case kDibAllocateMemory: return "allocate memory";
    case kDibOpenFile: return "open file";
    case kDibReadFile: return "read file";
    case kDibWriteFile: return "write file";
    case kDibInvalidImage: return "invalid image";
    case kDibUnsupportType: return "unsupport type";
    case kDibNotMatchType: return "not match type";
    case kDibLoadInterrupt: return "load interrput";
    case kDibTooWide: return "too wide";
    case kDibTooTall: return "too tall";
    case kDibTooLarge: return "too many pixel bytes";
    case kDibBadDepth: return "bad depth";
    case kDibBadSize: return "width or height below 1";
    default: return "(undefined)";
    }
}

DibStream::DibStream()
    : refCount(1), header(nullptr), bits(nullptr), headerAlloc(0), bitsAlloc(0), lastError(0) {}

namespace {

// Frees a block according to its allocation kind, then clears pointer and kind.
template <class T>
void releaseBlock(T*& block, int& kind) {
    if (block != nullptr) {
        switch (kind) {
        case kAllocNone: break;
        case kAllocLocal: LocalFree(block); break;
        case kAllocHeap: HeapFree(GetProcessHeap(), 0, block); break;
        default: std::free(block); break;
        }
    }
    block = nullptr;
    kind = kAllocNone;
}

// Row size in bytes, computed in 32-bit unsigned arithmetic as GDI does.
std::uint32_t rowBytes(int bitCount, int width) {
    return dibRowBytes(static_cast<std::uint32_t>(bitCount), static_cast<std::uint32_t>(width));
}

// |height| rows of the row size, without wrapping.
std::uint64_t exactImageBytes(int bitCount, int width, int height) {
    const std::uint64_t row = dibRowBytes(static_cast<std::uint64_t>(bitCount), static_cast<std::uint64_t>(width));
    const std::uint64_t rows = height < 0 ? 0u - static_cast<std::uint64_t>(static_cast<std::int64_t>(height))
                                          : static_cast<std::uint64_t>(height);
    return row * rows;
}

}  // namespace

DibStream::~DibStream() {
    releaseBlock(header, headerAlloc);
    releaseBlock(bits, bitsAlloc);
}

bool DibStream::Create(int width, int height, int bitCount) {
    releaseBlock(header, headerAlloc);
    releaseBlock(bits, bitsAlloc);

    int clrUsed = -1;
    switch (bitCount) {
    case 1: clrUsed = 2; break;
    case 4: clrUsed = 16; break;
    case 8: clrUsed = 256; break;
    case 16:
    case 24:
    case 32: clrUsed = 0; break;
    default: break;
    }

    BITMAPINFO* block = nullptr;
    if (clrUsed >= 0) {
        BITMAPINFOHEADER bih;
        std::memset(&bih, 0, sizeof bih);
        bih.biSize = 40;
        bih.biWidth = width;
        bih.biHeight = height;
        bih.biPlanes = 1;
        bih.biBitCount = static_cast<decltype(bih.biBitCount)>(bitCount);
        bih.biCompression = 0;
        // |height| in unsigned arithmetic: -INT_MIN is not an int.
        const std::uint32_t absHeight =
            height < 0 ? 0u - static_cast<std::uint32_t>(height) : static_cast<std::uint32_t>(height);
        bih.biSizeImage = absHeight * rowBytes(bitCount, width);
        bih.biXPelsPerMeter = 0;
        bih.biYPelsPerMeter = 0;
        bih.biClrUsed = static_cast<decltype(bih.biClrUsed)>(clrUsed);
        bih.biClrImportant = 0;

        const std::size_t headerBytes = 40 + 4 * static_cast<std::size_t>(clrUsed);
        block = static_cast<BITMAPINFO*>(HeapAlloc(GetProcessHeap(), 0, headerBytes));
        if (block == nullptr) {
            lastError = kDibAllocateMemory;
        } else {
            std::memcpy(block, &bih, sizeof bih);
            unsigned char* table = reinterpret_cast<unsigned char*>(block) + 40;
            if (bitCount == 1) {
                const unsigned char entries[8] = {0, 0, 0, 0, 255, 255, 255, 0};
                std::memcpy(table, entries, sizeof entries);
            } else if (bitCount == 8) {
                for (int i = 0; i < 256; ++i) {
                    table[4 * i + 0] = static_cast<unsigned char>(i);
                    table[4 * i + 1] = static_cast<unsigned char>(i);
                    table[4 * i + 2] = static_cast<unsigned char>(i);
                    table[4 * i + 3] = 0;
                }
            }
        }
    }
    header = block;
    headerAlloc = kAllocHeap;
    if (header == nullptr) {
        lastError = kDibAllocateMemory;
        return false;
    }

    // A negative width, or a size whose byte count does not fit the 32-bit
    // header field, would describe more pixels than the block holds: such a
    // surface is refused like a failed allocation.
    const std::uint32_t size = header->bmiHeader.biSizeImage;
    const bool sizeExact = width >= 0 && exactImageBytes(bitCount, width, height) == size;
    if (size != 0 && sizeExact) {
        bits = static_cast<unsigned char*>(HeapAlloc(GetProcessHeap(), 0, size));
        bitsAlloc = kAllocHeap;
        if (bits != nullptr) return true;
    } else {
        bits = nullptr;
        bitsAlloc = kAllocHeap;
    }

    releaseBlock(header, headerAlloc);
    lastError = kDibAllocateMemory;
    return false;
}

int DibStream::GetRowBytes() const {
    if (header == nullptr) return 0;
    return static_cast<int>(rowBytes(header->bmiHeader.biBitCount, header->bmiHeader.biWidth));
}

void DibStream::Draw(HDC hdc, int x, int y) const {
    if (bits == nullptr) return;
    int w = 0, h = 0;
    if (header != nullptr) {
        w = header->bmiHeader.biWidth;
        const std::int32_t bh = header->bmiHeader.biHeight;
        h = bh < 0 ? static_cast<int>(0u - static_cast<std::uint32_t>(bh)) : bh;
    }
    StretchDIBits(hdc, x, y, w, h, 0, 0, w, h, bits, header, DIB_RGB_COLORS, SRCCOPY);
}

int DibStream::AddRef() { return ++refCount; }

int DibStream::Release() {
    const int count = --refCount;
    if (count == 0) delete this;
    return count;
}

}  // namespace kwr
