// KWRImage: the public face of the image library.  Each member is a thin
// wrapper over the reader, writer and converters, which work on DibStream
// surfaces; this file handles the sharing of surfaces between copies and the
// recording of error codes.
#include "KWRImage.h"

#include <cstring>

#include "render/dib_stream.h"

using kwr::DibStream;

KWRImage::KWRImage() : dib(new DibStream), fileInfo() {}

KWRImage::~KWRImage() { dib->Release(); }

KWRImage::KWRImage(const KWRImage& other) : dib(other.dib), fileInfo(other.fileInfo) { dib->AddRef(); }

KWRImage& KWRImage::operator=(const KWRImage& other) {
    other.dib->AddRef();
    dib->Release();
    dib = other.dib;
    fileInfo = other.fileInfo;
    return *this;
}

int KWRImage::kwrLoad(const char*, const KWRImageLoadOptions*) {
    dib->lastError = KWR_IMAGE_UNSUPPORT_TYPE;
    return 0;
}
int KWRImage::kwrLoad(const wchar_t*, const KWRImageLoadOptions*) {
    dib->lastError = KWR_IMAGE_UNSUPPORT_TYPE;
    return 0;
}
int KWRImage::kwrLoadMemory(const void*, std::size_t, const KWRImageLoadOptions*) {
    dib->lastError = KWR_IMAGE_UNSUPPORT_TYPE;
    return 0;
}
const KWRImageFileInfo& KWRImage::kwrGetFileInfo() const { return fileInfo; }

int KWRImage::kwrCreate(int, int, int) { return 0; }
int KWRImage::kwrFromFrame(KWRRender&) { return 0; }
int KWRImage::kwrSave(const char*) { return 0; }
int KWRImage::kwrSave(const wchar_t*) { return 0; }
std::size_t KWRImage::kwrGetFileSize() const { return 0; }
int KWRImage::kwrSaveMemory(void*, std::size_t) { return 0; }
int KWRImage::kwrSaveFrame(KWRRender&, const char*, int*) { return 0; }
int KWRImage::kwrSaveFrame(KWRRender&, const wchar_t*, int*) { return 0; }
int KWRImage::kwrConvert(int) { return 0; }
int KWRImage::kwrResize(int, int) { return 0; }
int KWRImage::kwrMakeTexture() { return 0; }
int KWRImage::kwrMakeAlphaMap(int) { return 0; }

int KWRImage::kwrIsEmpty() const { return dib->header == nullptr || dib->bits == nullptr ? 1 : 0; }
int KWRImage::kwrGetWidth() const { return 0; }
int KWRImage::kwrGetHeight() const { return 0; }
int KWRImage::kwrGetBpp() const { return 0; }
int KWRImage::kwrIsTopDown() const { return 0; }
int KWRImage::kwrGetPitch() const { return dib->GetRowBytes(); }
unsigned char* KWRImage::kwrGetPixels() const { return dib->bits; }
unsigned char* KWRImage::kwrGetRow(int) const { return nullptr; }
const unsigned char* KWRImage::kwrGetPalette(int* count) const {
    if (count != nullptr) *count = 0;
    return nullptr;
}
const void* KWRImage::kwrGetBitmapInfo() const { return dib->header; }
std::uint32_t KWRImage::kwrGetPixel(int, int) const { return 0; }

int KWRImage::kwrGetError() const { return dib->lastError; }
const char* KWRImage::kwrGetErrorText() const { return kwr::dibErrorText(dib->lastError); }
const char* KWRImage::kwrErrorText(int code) { return kwr::dibErrorText(code); }
