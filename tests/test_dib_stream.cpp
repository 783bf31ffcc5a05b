// The DIB surface: header block, row size, colour tables, release of blocks
// by allocation kind and error codes (their texts: ImageLoad.ErrorTexts).
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "render/dib_stream.h"

namespace {

using kwr::DibStream;

TEST(DibStream, HeaderFieldsRowSizeAndColourTables) {
    const struct {
        int width, height, bitCount, rowBytes;
        unsigned clrUsed;
    } cases[] = {{3, -2, 24, 12, 0}, {5, 3, 8, 8, 256}, {33, -2, 1, 8, 2},
                 {9, -3, 4, 8, 16},  {3, -2, 16, 8, 0}, {5, -1, 32, 20, 0}};
    for (const auto& c : cases) {
        DibStream d;
        ASSERT_TRUE(d.Create(c.width, c.height, c.bitCount));
        ASSERT_TRUE(d.header != nullptr && d.bits != nullptr);
        const kwr::BITMAPINFOHEADER& h = d.header->bmiHeader;
        EXPECT_EQ(h.biSize, 40u);
        EXPECT_EQ(h.biWidth, c.width);
        EXPECT_EQ(h.biHeight, c.height);
        EXPECT_EQ(h.biPlanes, 1);
        EXPECT_EQ(h.biBitCount, c.bitCount);
        EXPECT_EQ(h.biSizeImage, static_cast<unsigned>(c.rowBytes * std::abs(c.height)));
        EXPECT_EQ(h.biClrUsed, c.clrUsed);
        EXPECT_EQ(d.GetRowBytes(), c.rowBytes);
        EXPECT_EQ(d.bitsAlloc, kwr::kAllocHeap);
        d.bits[h.biSizeImage - 1] = 0x5A;  // the pixel block is one run of |height| rows
    }
    // Colour tables: a grey ramp at 8 bpp, entry i (i, i, i, 0); black and white at 1 bpp.
    DibStream d;
    ASSERT_TRUE(d.Create(1, -1, 8));
    const unsigned char* t = reinterpret_cast<const unsigned char*>(d.header) + 40;
    const unsigned char grey[8] = {0x7F, 0x7F, 0x7F, 0, 0x80, 0x80, 0x80, 0};
    EXPECT_EQ(std::memcmp(t + 4 * 0x7F, grey, 8), 0);
    EXPECT_EQ(t[4 * 255 + 2], 255);
    ASSERT_TRUE(d.Create(9, 1, 1));
    t = reinterpret_cast<const unsigned char*>(d.header) + 40;
    const unsigned char mono[8] = {0, 0, 0, 0, 255, 255, 255, 0};
    EXPECT_EQ(std::memcmp(t, mono, 8), 0);
}

TEST(DibStream, FailuresLeaveObjectEmpty) {
    struct Bad {
        int w, h, bpp;
    };
    // Unsupported depths, empty sizes, and sizes that a 32-bit byte count or
    // a negative width would misdescribe.
    for (const Bad& b : {Bad{5, -5, 12}, Bad{5, -5, 2}, Bad{0, -10, 32}, Bad{10, 0, 32}, Bad{-5, -5, 32},
                         Bad{0x7FFFFFFF, -2, 32}, Bad{65536, -65536, 32}, Bad{65536, INT_MIN, 8}}) {
        DibStream d;
        ASSERT_TRUE(d.Create(2, -2, 32));  // an earlier surface is discarded
        EXPECT_FALSE(d.Create(b.w, b.h, b.bpp)) << b.w << "x" << b.h << "x" << b.bpp;
        EXPECT_EQ(d.lastError, kwr::kDibAllocateMemory);
        EXPECT_EQ(d.header, nullptr);
        EXPECT_EQ(d.bits, nullptr);
        EXPECT_EQ(d.GetRowBytes(), 0);
        EXPECT_TRUE(d.Create(1, -1, 24));  // the object stays usable
    }
    // An unsupported depth stops before any pixel block: the header kind
    // still records the process heap, the pixel block was released.
    DibStream d;
    EXPECT_FALSE(d.Create(4, -4, 12));
    EXPECT_EQ(d.headerAlloc, kwr::kAllocHeap);
    EXPECT_EQ(d.bitsAlloc, kwr::kAllocNone);
}

// A block that the release of `kind` frees correctly on this system.
void* blockOfKind(int kind, std::size_t bytes) {
    switch (kind) {
    case kwr::kAllocHeap: return kwr::HeapAlloc(kwr::GetProcessHeap(), 0, bytes);
#if defined(_WIN32)
    case kwr::kAllocLocal: return LocalAlloc(LMEM_FIXED, bytes);
#endif
    default: return std::malloc(bytes);
    }
}

TEST(DibStream, BlocksAreReleasedByTheirKind) {
    // Every kind the class knows plus unknown ones (released with free).
    // The sanitizers and the Windows heap check that each block goes back
    // the way it came; kind 0 blocks are never freed.
    for (int kind : {1, 4, 6, 3, 7, -1}) {
        auto* d = new DibStream();
        d->header = static_cast<kwr::BITMAPINFO*>(blockOfKind(kind, 40));
        d->headerAlloc = kind;
        d->bits = static_cast<unsigned char*>(blockOfKind(kind, 16));
        d->bitsAlloc = kind;
        EXPECT_EQ(d->AddRef(), 2);
        EXPECT_EQ(d->Release(), 1);
        EXPECT_EQ(d->Release(), 0);  // deleted through the virtual destructor
    }
    alignas(8) unsigned char header[40] = {};
    unsigned char pixels[4] = {1, 2, 3, 4};
    {
        DibStream d;
        d.header = reinterpret_cast<kwr::BITMAPINFO*>(header);
        d.bits = pixels;
        ASSERT_TRUE(d.Create(1, -1, 32));  // releases the unowned blocks: no free
        EXPECT_NE(d.bits, pixels);
    }
    DibStream notOwned;
    notOwned.bits = pixels;  // destroyed without freeing
}

#if !defined(_WIN32)
// A positive height stores rows bottom-up: the first stored row is shown at
// the bottom.
TEST(DibStream, BottomUpRowsAreShownReversed) {
    DibStream d;
    ASSERT_TRUE(d.Create(1, 2, 32));
    const std::uint32_t rows[2] = {0x00FF0000u, 0x0000FF00u};
    std::memcpy(d.bits, rows, sizeof rows);
    std::uint32_t shown[2] = {0, 0};
    KWRMemoryDC dc{1, 2, 4, shown};
    d.Draw(&dc, 0, 0);
    EXPECT_EQ(shown[0], 0x0000FF00u);
    EXPECT_EQ(shown[1], 0x00FF0000u);
}
#endif

}  // namespace
