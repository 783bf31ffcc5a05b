// Loading bitmap files: every header size, depths, bit-field masks, row
// orders, run-length escapes, short colour tables, every failure code, the
// depth mask, the caps and cancelling.  Files are made by hand so that each
// expected pixel is worked out from the bytes.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "KWRImage.h"
#include "bmp_builder.h"

namespace {

using bmptest::BmpLayout;
using bmptest::Bytes;

int loadError(const Bytes& file, const KWRImageLoadOptions* options = nullptr) {
    KWRImage image;
    const int ok = image.kwrLoadMemory(file.data(), file.size(), options);
    EXPECT_EQ(ok == 1, image.kwrGetError() == KWR_IMAGE_OK);
    if (!ok) {
        EXPECT_EQ(image.kwrIsEmpty(), 1);
        EXPECT_EQ(image.kwrGetPixels(), nullptr);
    }
    return image.kwrGetError();
}

// A 2 x 2 24-bit picture: top row 0x778899, 0xAABBCC; bottom row 0x112233,
// 0x445566; stored bottom-up (or top-down), rows padded to 8 bytes.
BmpLayout picture24(bool topDown = false) {
    BmpLayout s;
    s.width = 2;
    s.height = topDown ? -2 : 2;
    const Bytes bottom = {0x33, 0x22, 0x11, 0x66, 0x55, 0x44, 0, 0};
    const Bytes top = {0x99, 0x88, 0x77, 0xCC, 0xBB, 0xAA, 0, 0};
    s.pixels = topDown ? top : bottom;
    s.pixels.insert(s.pixels.end(), (topDown ? bottom : top).begin(), (topDown ? bottom : top).end());
    return s;
}

void expectPicture24(const KWRImage& image) {
    EXPECT_EQ(image.kwrGetPixel(0, 0), 0xFF778899u);
    EXPECT_EQ(image.kwrGetPixel(1, 0), 0xFFAABBCCu);
    EXPECT_EQ(image.kwrGetPixel(0, 1), 0xFF112233u);
    EXPECT_EQ(image.kwrGetPixel(1, 1), 0xFF445566u);
}

TEST(ImageLoad, EveryHeaderSizeAndBothRowOrders) {
    for (std::uint32_t size : {12u, 40u, 52u, 56u, 108u, 124u}) {
        BmpLayout s = picture24();
        s.headerSize = size;
        const Bytes file = bmptest::buildBmp(s);
        KWRImage image;
        ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1) << size;
        EXPECT_EQ(image.kwrGetBpp(), 24);
        EXPECT_EQ(image.kwrGetFileInfo().headerSize, static_cast<int>(size));
        expectPicture24(image);
    }
    const Bytes topDown = bmptest::buildBmp(picture24(true));
    KWRImage image;
    ASSERT_EQ(image.kwrLoadMemory(topDown.data(), topDown.size()), 1);
    EXPECT_EQ(image.kwrIsTopDown(), 1);
    EXPECT_EQ(image.kwrGetFileInfo().topDown, 1);
    EXPECT_EQ(image.kwrGetFileInfo().height, 2);
    expectPicture24(image);
}

TEST(ImageLoad, ColourTables) {
    // Core header: 3-byte entries, as many as fit before the pixel data.
    BmpLayout core;
    core.headerSize = 12;
    core.width = 4;
    core.bpp = 8;
    core.table = {0x102030, 0x405060};
    core.pixels = {1, 0, 1, 1};
    Bytes file = bmptest::buildBmp(core);
    KWRImage image;
    ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1);
    EXPECT_EQ(image.kwrGetFileInfo().colorTableSize, 2);
    EXPECT_EQ(image.kwrGetPixel(0, 0), 0xFF405060u);
    EXPECT_EQ(image.kwrGetPixel(1, 0), 0xFF102030u);

    // A short table (biClrUsed 2): indices beyond it are black, the rest of
    // the image's table is zero.
    BmpLayout shortTable;
    shortTable.width = 3;
    shortTable.bpp = 8;
    shortTable.clrUsed = 2;
    shortTable.table = {0xFF0000, 0x00FF00};
    shortTable.pixels = {1, 0, 200, 0};
    file = bmptest::buildBmp(shortTable);
    ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1);
    EXPECT_EQ(image.kwrGetPixel(0, 0), 0xFF00FF00u);
    EXPECT_EQ(image.kwrGetPixel(2, 0), 0xFF000000u);
    int count = 0;
    const unsigned char* table = image.kwrGetPalette(&count);
    ASSERT_EQ(count, 256);
    EXPECT_EQ(table[4 * 200 + 2], 0);

    // biClrUsed 0 at 1 bit: the full table of two; bits from the high end.
    BmpLayout mono;
    mono.width = 10;
    mono.bpp = 1;
    mono.table = {0x000000, 0xFFFFFF};
    mono.pixels = {0xA0, 0x40, 0, 0};
    file = bmptest::buildBmp(mono);
    ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1);
    EXPECT_EQ(image.kwrGetFileInfo().colorTableSize, 2);
    EXPECT_EQ(image.kwrGetPixel(0, 0), 0xFFFFFFFFu);
    EXPECT_EQ(image.kwrGetPixel(1, 0), 0xFF000000u);
    EXPECT_EQ(image.kwrGetPixel(2, 0), 0xFFFFFFFFu);
    EXPECT_EQ(image.kwrGetPixel(9, 0), 0xFFFFFFFFu);
}

struct FieldCase {
    const char* name;
    std::uint32_t headerSize, compression;
    std::uint16_t bpp;
    std::vector<std::uint32_t> masks;
    std::uint32_t pixel;
    int loadedBpp;
    std::uint32_t expected;
};

TEST(ImageLoad, BitFields) {
    const FieldCase cases[] = {
        {"5-6-5 red", 40, 3, 16, {0xF800, 0x07E0, 0x001F}, 0xF800, 32, 0xFFFF0000u},
        {"5-6-5 green", 40, 3, 16, {0xF800, 0x07E0, 0x001F}, 0x07E0, 32, 0xFF00FF00u},
        // A 5-bit 16 widens to 16 << 3 | 16 >> 2 = 132.
        {"5-6-5 blue", 40, 3, 16, {0xF800, 0x07E0, 0x001F}, 0x0010, 32, 0xFF000084u},
        {"5-5-5 kept", 40, 3, 16, {0x7C00, 0x03E0, 0x001F}, 0x7FFF, 16, 0xFFFFFFFFu},
        {"4-4-4-4 alpha after the header", 40, 6, 16, {0x0F00, 0x00F0, 0x000F, 0xF000}, 0x8F21, 32, 0x88FF2211u},
        {"5-6-5 in a 56-byte header", 56, 3, 16, {0xF800, 0x07E0, 0x001F, 0}, 0x001F, 32, 0xFF0000FFu},
        {"8-8-8-8 reversed in a 124-byte header", 124, 3, 32, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}, 0x04030201, 32,
         0x04010203u},
        // 10-bit fields narrow to their top 8 bits; a 2-bit alpha 10b repeats to 0xAA.
        {"10-10-10-2 in a 108-byte header", 108, 3, 32, {0x3FF00000, 0x000FFC00, 0x000003FF, 0xC0000000},
         (2u << 30) | (0x200u << 20) | (0x3FFu << 10) | 1u, 32, 0xAA80FF00u},
        {"8-8-8 in a 52-byte header", 52, 3, 32, {0xFF0000, 0xFF00, 0xFF}, 0x00123456, 32, 0x00123456u},
    };
    for (const FieldCase& c : cases) {
        BmpLayout s;
        s.headerSize = c.headerSize;
        s.compression = c.compression;
        s.bpp = c.bpp;
        s.masks = c.masks;
        for (int i = 0; i < 4; ++i) s.pixels.push_back(static_cast<unsigned char>(c.pixel >> (8 * i)));
        const Bytes file = bmptest::buildBmp(s);
        KWRImage image;
        ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1) << c.name;
        EXPECT_EQ(image.kwrGetBpp(), c.loadedBpp) << c.name;
        EXPECT_EQ(image.kwrGetPixel(0, 0), c.expected) << c.name;
    }
    // Zero, overlapping, gapped and oversized masks are refused.
    const std::vector<std::uint32_t> bad[] = {
        {0, 0x07E0, 0x001F}, {0xF800, 0x0FE0, 0x001F}, {0xF100, 0x07E0, 0x001F}, {0x1F0000, 0x07E0, 0x001F}};
    for (const auto& masks : bad) {
        BmpLayout s;
        s.compression = 3;
        s.bpp = 16;
        s.masks = masks;
        s.pixels = {0, 0, 0, 0};
        EXPECT_EQ(loadError(bmptest::buildBmp(s)), KWR_IMAGE_INVALID_IMAGE) << masks[0] << " " << masks[1];
    }
}

TEST(ImageLoad, RunLengthEscapes) {
    // 8 bits, 6 x 3: a run, an odd absolute run with its pad byte, end of
    // line, a delta over a row, a run clipped at the row's end, end of bitmap.
    BmpLayout s;
    s.width = 6;
    s.height = 3;
    s.bpp = 8;
    s.compression = 1;
    s.clrUsed = 16;
    s.table.assign(16, 0x808080);
    s.pixels = {3, 7, 0, 3, 1, 2, 3, 0, 0, 0, 0, 2, 2, 1, 5, 9, 0, 1};
    Bytes file = bmptest::buildBmp(s);
    KWRImage image;
    ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1);
    EXPECT_EQ(image.kwrGetBpp(), 8);
    EXPECT_EQ(image.kwrGetFileInfo().compression, 1);
    const Bytes rows[3] = {{0, 0, 9, 9, 9, 9}, {0, 0, 0, 0, 0, 0}, {7, 7, 7, 1, 2, 3}};
    for (int y = 0; y < 3; ++y) EXPECT_EQ(Bytes(image.kwrGetRow(y), image.kwrGetRow(y) + 6), rows[y]) << y;

    // Data that ends without the end-of-bitmap escape: the rest stays zero.
    s.pixels = {3, 7};
    file = bmptest::buildBmp(s);
    ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1);
    EXPECT_EQ(Bytes(image.kwrGetRow(2), image.kwrGetRow(2) + 6), (Bytes{7, 7, 7, 0, 0, 0}));

    // 4 bits, 5 x 1: a run of alternating nibbles, then an absolute run of
    // three clipped at the row's end.
    s.width = 5;
    s.height = 1;
    s.bpp = 4;
    s.compression = 2;
    s.pixels = {4, 0x12, 0, 3, 0x34, 0x50, 0, 1};
    file = bmptest::buildBmp(s);
    ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1);
    EXPECT_EQ(Bytes(image.kwrGetRow(0), image.kwrGetRow(0) + 3), (Bytes{0x12, 0x12, 0x30}));

    // A delta past the last row ends the image.
    s.pixels = {0, 2, 0, 9, 1, 5};
    file = bmptest::buildBmp(s);
    ASSERT_EQ(image.kwrLoadMemory(file.data(), file.size()), 1);
    EXPECT_EQ(image.kwrGetRow(0)[0], 0);
}

TEST(ImageLoad, FailureCodes) {
    const Bytes good = bmptest::buildBmp(picture24());
    EXPECT_EQ(loadError(good), KWR_IMAGE_OK);
    EXPECT_EQ(loadError(Bytes()), KWR_IMAGE_READ_FILE);
    EXPECT_EQ(loadError(Bytes(good.begin(), good.end() - 1)), KWR_IMAGE_READ_FILE);
    EXPECT_EQ(loadError(Bytes(good.begin(), good.begin() + 30)), KWR_IMAGE_READ_FILE);

    auto withLayout = [](void (*change)(BmpLayout&)) {
        BmpLayout s = picture24();
        change(s);
        return loadError(bmptest::buildBmp(s));
    };
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.magic = 0x4142; }), KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.planes = 2; }), KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.width = 0; }), KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.width = -2; }), KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.height = 0; }), KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.offset = 20; }), KWR_IMAGE_INVALID_IMAGE);
    Bytes pastTheEnd = good;
    pastTheEnd[11] = 0x10;  // pixel data offset 4096 + 54 in a 70-byte file
    EXPECT_EQ(loadError(pastTheEnd), KWR_IMAGE_READ_FILE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.headerSize = 8; }), KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.headerSize = 64; }), KWR_IMAGE_UNSUPPORT_TYPE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.bpp = 2; }), KWR_IMAGE_UNSUPPORT_TYPE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.compression = 4; }), KWR_IMAGE_UNSUPPORT_TYPE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.compression = 1; }), KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.compression = 3; s.masks = {0xFF0000, 0xFF00, 0xFF}; }),
              KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.bpp = 8; s.clrUsed = 257; }), KWR_IMAGE_INVALID_IMAGE);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.bpp = 8; s.compression = 1; s.height = -2; }), KWR_IMAGE_INVALID_IMAGE);
    // Sizes far beyond the caps fail before anything is allocated or read.
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.width = INT32_MAX; s.height = INT32_MAX; }), KWR_IMAGE_ALLOCATE_MEMORY);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.height = INT32_MIN; }), KWR_IMAGE_ALLOCATE_MEMORY);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.width = KWR_IMAGE_MAX_WIDTH + 1; }), KWR_IMAGE_ALLOCATE_MEMORY);
    EXPECT_EQ(withLayout([](BmpLayout& s) { s.width = 20000; s.height = -20000; }), KWR_IMAGE_ALLOCATE_MEMORY);

    KWRImage missing;
    EXPECT_EQ(missing.kwrLoad("no such file.bmp"), 0);
    EXPECT_EQ(missing.kwrGetError(), KWR_IMAGE_OPEN_FILE);
    EXPECT_STREQ(missing.kwrGetErrorText(), "open file");
}

TEST(ImageLoad, DepthMaskCapsAndCancel) {
    const Bytes file = bmptest::buildBmp(picture24());
    KWRImageLoadOptions o{};
    o.depthMask = KWR_DEPTH_8 | KWR_DEPTH_32;
    EXPECT_EQ(loadError(file, &o), KWR_IMAGE_NOT_MATCH_TYPE);
    o.depthMask = KWR_DEPTH_24;
    EXPECT_EQ(loadError(file, &o), KWR_IMAGE_OK);

    // The host lowers the caps; larger values than the library's do not raise them.
    KWRImageLoadOptions caps{};
    caps.maxWidth = 1;
    EXPECT_EQ(loadError(file, &caps), KWR_IMAGE_ALLOCATE_MEMORY);
    caps = KWRImageLoadOptions{};
    caps.maxPixelBytes = 15;  // two rows of 8 bytes
    EXPECT_EQ(loadError(file, &caps), KWR_IMAGE_ALLOCATE_MEMORY);
    caps.maxPixelBytes = 16;
    EXPECT_EQ(loadError(file, &caps), KWR_IMAGE_OK);
    BmpLayout wide = picture24();
    wide.width = KWR_IMAGE_MAX_WIDTH + 1;
    caps.maxWidth = 1 << 30;
    caps.maxPixelBytes = 0;
    EXPECT_EQ(loadError(bmptest::buildBmp(wide), &caps), KWR_IMAGE_ALLOCATE_MEMORY);

    struct Calls {
        int count = 0, lastDone = -1, total = 0, stopAt = 0;
    } calls;
    KWRImageLoadOptions c{};
    c.user = &calls;
    c.cancel = [](void* user, int done, int total) {
        Calls& k = *static_cast<Calls*>(user);
        ++k.count;
        k.lastDone = done;
        k.total = total;
        return done >= k.stopAt ? 1 : 0;
    };
    calls.stopAt = 1;
    EXPECT_EQ(loadError(file, &c), KWR_IMAGE_LOAD_INTERRUPT);
    EXPECT_EQ(calls.count, 2);
    EXPECT_EQ(calls.lastDone, 1);
    EXPECT_EQ(calls.total, 2);
    calls.stopAt = 3;
    EXPECT_EQ(loadError(file, &c), KWR_IMAGE_OK);
}

TEST(ImageLoad, ErrorTexts) {
    const char* texts[] = {"",           "some error",    "allocate memory", "open file",      "read file",
                           "write file", "invalid image", "unsupport type",  "not match type", "load interrput"};
    for (int code = 0; code <= 9; ++code) EXPECT_STREQ(KWRImage::kwrErrorText(code), texts[code]);
    for (int code : {10, -1, INT32_MIN}) EXPECT_STREQ(KWRImage::kwrErrorText(code), "(undefined)");
}

}  // namespace
