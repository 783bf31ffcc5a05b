// libFuzzer target: any bytes through the memory loader.  A file that loads
// must then convert, resample, become a texture and an alpha map, save, and
// load back from what was saved with the same pixels; a file that fails must
// leave the image empty with a loader error code.
#include <cstdlib>

#include <unistd.h>

#include "../image/bmp_craft.h"

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Caps lowered so that one input stays cheap; the checks are the same.
    KWRImageLoadOptions options{0, 1024, 1024, 1u << 18, nullptr, nullptr};
    KWRImage img;
    const int loaded = img.kwrLoadMemory(data, size, &options);

    // One input in eight also goes through a file, which is read buffered:
    // same result, same pixels.
    if (size % 8 == 0) {
        static const std::string path = "kwr_fuzz_" + std::to_string(getpid()) + ".bmp";
        check(bmpcraft::writeFile(path, bmpcraft::Bytes(data, data + size)));
        KWRImage fromFile;
        check(fromFile.kwrLoad(path.c_str(), &options) == loaded);
        check(fromFile.kwrGetError() == img.kwrGetError() && (!loaded || bmpcraft::samePixels(img, fromFile)));
        std::remove(path.c_str());
    }

    if (!loaded) {
        const int e = img.kwrGetError();
        check(e == KWR_IMAGE_ALLOCATE_MEMORY || e == KWR_IMAGE_READ_FILE || e == KWR_IMAGE_INVALID_IMAGE ||
              e == KWR_IMAGE_UNSUPPORT_TYPE);
        check(img.kwrIsEmpty() == 1);
        return 0;
    }
    check(img.kwrGetWidth() > 0 && img.kwrGetHeight() > 0);

    // Cancelled after some rows, the same file fails with the cancel code or
    // (finished before that row) loads; never anything else.
    int stopAt = data[size / 3] % 8;
    options.user = &stopAt;
    options.cancel = [](void* user, int done, int) { return done >= *static_cast<int*>(user) ? 1 : 0; };
    KWRImage cancelled;
    if (!cancelled.kwrLoadMemory(data, size, &options))
        check(cancelled.kwrGetError() == KWR_IMAGE_LOAD_INTERRUPT && cancelled.kwrIsEmpty() == 1);

    std::vector<unsigned char> file(img.kwrGetFileSize());
    check(img.kwrSaveMemory(file.data(), file.size()) == 1);
    KWRImage back;
    check(back.kwrLoadMemory(file.data(), file.size()) == 1);
    check(bmpcraft::samePixels(img, back));

    // The last byte picks the conversion, so the fuzzer can reach each.
    static const int depths[6] = {1, 4, 8, 16, 24, 32};
    KWRImage converted = img;
    check(converted.kwrConvert(depths[data[size - 1] % 6]) == 1);
    KWRImage resized = img;
    check(resized.kwrResize(1 + data[0] % 37, 1 + data[size / 2] % 29) == 1);
    KWRImage texture = img, alpha = img;
    check(texture.kwrMakeTexture() == 1 && texture.kwrGetBpp() == 32);
    check(alpha.kwrMakeAlphaMap(data[size - 1] & 1) == 1 && alpha.kwrGetBpp() == 8);
    return 0;
}
