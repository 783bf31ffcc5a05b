// KWRImage: the public face of the image library.  Each member is a thin
// wrapper over the reader, writer and converters, which work on DibStream
// surfaces; this file handles the sharing of surfaces between copies and the
// recording of error codes.
#include "KWRImage.h"

#include <cstdio>

#include "image/bmp_reader.h"
#include "image/bmp_writer.h"
#include "image/byte_io.h"
#include "image/png_codec.h"
#include "image/surface.h"
#include "render/dib_stream.h"

using kwr::DibStream;
using kwr::SurfaceView;

namespace {

// Runs make(surface) on a fresh surface: the surface on success, else null
// with the error code in *error.
template <class Make>
DibStream* makeSurface(Make&& make, int* error) {
    DibStream* fresh = new DibStream;
    *error = make(*fresh);
    if (*error == kwr::kDibOk) return fresh;
    fresh->Release();
    return nullptr;
}

// Lets go of this image's surface and takes `next`, or, when next is null,
// an empty surface that records `error`.
void replace(DibStream*& dib, DibStream* next, int error) {
    dib->Release();
    if (next == nullptr) {
        next = new DibStream;
        next->lastError = error;
    }
    dib = next;
}

// Replaces this image's surface with one built by make(out); on failure the
// image keeps its surface and records the error.
template <class Make>
int rebuild(DibStream*& dib, Make&& make) {
    int err = 0;
    DibStream* next = makeSurface(make, &err);
    if (next == nullptr) {
        dib->lastError = err;
        return 0;
    }
    replace(dib, next, 0);
    return 1;
}

// Builds a new surface from this image's with f(view, out), as rebuild().
template <class F>
int transform(DibStream*& dib, F&& f) {
    SurfaceView view;
    if (!kwr::viewOf(*dib, view)) {
        dib->lastError = kwr::kDibInvalidImage;
        return 0;
    }
    return rebuild(dib, [&](DibStream& out) { return f(view, out); });
}

int load(DibStream*& dib, KWRImageFileInfo& fileInfo, kwr::Input& in, const KWRImageLoadOptions* options) {
    KWRImageFileInfo info{};
    int err = 0;
    const bool png = kwr::isPng(in);
    DibStream* loaded = makeSurface(
        [&](DibStream& out) { return png ? kwr::readPng(in, options, out, info) : kwr::readBitmap(in, options, out, info); },
        &err);
    replace(dib, loaded, err);
    fileInfo = info;
    return loaded != nullptr ? 1 : 0;
}

template <class Path>
int loadPath(DibStream*& dib, KWRImageFileInfo& fileInfo, Path path, const KWRImageLoadOptions* options) {
    std::FILE* file = kwr::openPath(path);
    if (file == nullptr) {
        replace(dib, nullptr, kwr::kDibOpenFile);
        fileInfo = KWRImageFileInfo{};
        return 0;
    }
    kwr::Input in(file);
    const int ok = load(dib, fileInfo, in, options);
    std::fclose(file);
    return ok;
}

// Writes the view to a file, as a bitmap file or (png) a PNG file, through a
// temporary file moved over the destination when complete; returns an
// error code.  On failure whatever the destination held is left as it was.
template <class Path>
int saveView(const SurfaceView& view, Path path, bool png = false) {
    kwr::FileReplacement file(path);
    if (file.file() == nullptr) return kwr::kDibOpenFile;
    kwr::Output out(file.file());
    return file.commit(png ? kwr::writePng(view, out) : kwr::writeBitmap(view, out));
}

template <class Path>
int saveSurface(DibStream& dib, Path path, bool png = false) {
    SurfaceView view;
    dib.lastError = kwr::viewOf(dib, view) ? saveView(view, path, png) : kwr::kDibInvalidImage;
    return dib.lastError == kwr::kDibOk ? 1 : 0;
}

// The render context's frame as a view; false when it has none.
bool frameView(KWRRender& render, SurfaceView& view) {
    void* header = nullptr;
    void* pixels = nullptr;
    return render.kwrGetDib(&header, &pixels) == 1 &&
           kwr::viewOf(static_cast<const kwr::BITMAPINFO*>(header), static_cast<unsigned char*>(pixels), view);
}

template <class Path>
int saveFrame(KWRRender& render, Path path, int* error) {
    SurfaceView view;
    const int err = frameView(render, view) ? saveView(view, path) : kwr::kDibInvalidImage;
    if (error != nullptr) *error = err;
    return err == kwr::kDibOk ? 1 : 0;
}

// Runs one operation of an image and keeps, in the image's own record, the
// error code it left on the surface: copies share surfaces, not errors.
template <class Op>
int settle(int& error, DibStream* const& dib, Op&& op) {
    const int ok = op();
    error = dib->lastError;
    return ok;
}

}  // namespace

KWRImage::KWRImage() : dib(new DibStream), fileInfo(), error(0) {}

KWRImage::~KWRImage() { dib->Release(); }

KWRImage::KWRImage(const KWRImage& other) : dib(other.dib), fileInfo(other.fileInfo), error(other.error) {
    dib->AddRef();
}

KWRImage& KWRImage::operator=(const KWRImage& other) {
    other.dib->AddRef();
    dib->Release();
    dib = other.dib;
    fileInfo = other.fileInfo;
    error = other.error;
    return *this;
}

int KWRImage::kwrLoad(const char* path, const KWRImageLoadOptions* options) {
    return settle(error, dib, [&] { return loadPath(dib, fileInfo, path, options); });
}

int KWRImage::kwrLoad(const wchar_t* path, const KWRImageLoadOptions* options) {
    return settle(error, dib, [&] { return loadPath(dib, fileInfo, path, options); });
}

int KWRImage::kwrLoadMemory(const void* data, std::size_t size, const KWRImageLoadOptions* options) {
    kwr::Input in(data, size);
    return settle(error, dib, [&] { return load(dib, fileInfo, in, options); });
}

const KWRImageFileInfo& KWRImage::kwrGetFileInfo() const { return fileInfo; }

int KWRImage::kwrCreate(int width, int height, int bpp) {
    return settle(error, dib, [&] {
        if (!rebuild(dib, [&](DibStream& out) { return kwr::createSurface(out, width, height, bpp); })) return 0;
        fileInfo = KWRImageFileInfo{};
        return 1;
    });
}

int KWRImage::kwrFromFrame(KWRRender& render) {
    return settle(error, dib, [&] {
        SurfaceView view;
        if (!frameView(render, view)) {
            dib->lastError = kwr::kDibInvalidImage;
            return 0;
        }
        if (!rebuild(dib, [&](DibStream& out) { return kwr::convertSurface(view, view.bpp, out); })) return 0;
        fileInfo = KWRImageFileInfo{};
        return 1;
    });
}

int KWRImage::kwrSave(const char* path) {
    return settle(error, dib, [&] { return saveSurface(*dib, path); });
}

int KWRImage::kwrSave(const wchar_t* path) {
    return settle(error, dib, [&] { return saveSurface(*dib, path); });
}

int KWRImage::kwrSavePng(const char* path) {
    return settle(error, dib, [&] { return saveSurface(*dib, path, true); });
}

int KWRImage::kwrSavePng(const wchar_t* path) {
    return settle(error, dib, [&] { return saveSurface(*dib, path, true); });
}

int KWRImage::kwrPngSupported() { return kwr::pngSupported() ? 1 : 0; }

std::size_t KWRImage::kwrGetFileSize() const {
    SurfaceView view;
    if (!kwr::viewOf(*dib, view)) return 0;
    const std::uint64_t size = kwr::bitmapFileSize(view);
    return size > 0xFFFFFFFFu ? 0 : static_cast<std::size_t>(size);
}

int KWRImage::kwrSaveMemory(void* buffer, std::size_t capacity) {
    return settle(error, dib, [&] {
        SurfaceView view;
        if (!kwr::viewOf(*dib, view)) {
            dib->lastError = kwr::kDibInvalidImage;
        } else {
            kwr::Output out(buffer, capacity);
            dib->lastError = kwr::writeBitmap(view, out);
        }
        return dib->lastError == kwr::kDibOk ? 1 : 0;
    });
}

int KWRImage::kwrSaveFrame(KWRRender& render, const char* path, int* error) { return saveFrame(render, path, error); }

int KWRImage::kwrSaveFrame(KWRRender& render, const wchar_t* path, int* error) {
    return saveFrame(render, path, error);
}

int KWRImage::kwrConvert(int bpp) {
    return settle(error, dib, [&] {
        return transform(dib, [bpp](const SurfaceView& v, DibStream& out) { return kwr::convertSurface(v, bpp, out); });
    });
}

int KWRImage::kwrResize(int width, int height) {
    return settle(error, dib, [&] {
        return transform(dib, [width, height](const SurfaceView& v, DibStream& out) {
            return kwr::resizeSurface(v, width, height, out);
        });
    });
}

int KWRImage::kwrMakeTexture() {
    return settle(error, dib, [&] {
        return transform(dib, [](const SurfaceView& v, DibStream& out) {
            const int err = kwr::convertSurface(v, 32, out);
            if (err != kwr::kDibOk || v.bpp != 32) return err;
            // A 32-bit bitmap whose fourth byte is 0 everywhere has no alpha.
            const std::size_t bytes = out.header->bmiHeader.biSizeImage;
            for (std::size_t i = 3; i < bytes; i += 4) {
                if (out.bits[i] != 0) return err;
            }
            for (std::size_t i = 3; i < bytes; i += 4) out.bits[i] = 255;
            return err;
        });
    });
}

int KWRImage::kwrMakeAlphaMap(int source) {
    return settle(error, dib, [&] {
        if (source != KWR_ALPHA_FROM_ALPHA && source != KWR_ALPHA_FROM_GREY) {
            dib->lastError = kwr::kDibSomeError;
            return 0;
        }
        return transform(dib, [source](const SurfaceView& v, DibStream& out) {
            return kwr::alphaMapSurface(v, source == KWR_ALPHA_FROM_GREY, out);
        });
    });
}

int KWRImage::kwrIsEmpty() const {
    SurfaceView view;
    return kwr::viewOf(*dib, view) ? 0 : 1;
}

int KWRImage::kwrGetWidth() const {
    SurfaceView view;
    return kwr::viewOf(*dib, view) ? view.width : 0;
}

int KWRImage::kwrGetHeight() const {
    SurfaceView view;
    return kwr::viewOf(*dib, view) ? view.height : 0;
}

int KWRImage::kwrGetBpp() const {
    SurfaceView view;
    return kwr::viewOf(*dib, view) ? view.bpp : 0;
}

int KWRImage::kwrIsTopDown() const {
    SurfaceView view;
    return kwr::viewOf(*dib, view) && view.topDown ? 1 : 0;
}

int KWRImage::kwrGetPitch() const { return dib->GetRowBytes(); }

unsigned char* KWRImage::kwrGetPixels() const { return dib->bits; }

unsigned char* KWRImage::kwrGetRow(int y) const {
    SurfaceView view;
    if (!kwr::viewOf(*dib, view) || y < 0 || y >= view.height) return nullptr;
    return view.row(y);
}

const unsigned char* KWRImage::kwrGetPalette(int* count) const {
    SurfaceView view;
    const bool indexed = kwr::viewOf(*dib, view) && view.tableSize > 0;
    if (count != nullptr) *count = indexed ? view.tableSize : 0;
    return indexed ? view.table : nullptr;
}

const void* KWRImage::kwrGetBitmapInfo() const { return dib->header; }

std::uint32_t KWRImage::kwrGetPixel(int x, int y) const {
    SurfaceView view;
    if (!kwr::viewOf(*dib, view) || x < 0 || x >= view.width || y < 0 || y >= view.height) return 0;
    return kwr::argbAt(view, x, y);
}

int KWRImage::kwrGetError() const { return error; }

const char* KWRImage::kwrGetErrorText() const { return kwr::dibErrorText(error); }

const char* KWRImage::kwrErrorText(int code) { return kwr::dibErrorText(code); }
