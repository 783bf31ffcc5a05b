// The render context: lifecycle, state, bindings, clearing and presentation.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "KWRRender.h"
#include "render/dib_stream.h"
#include "render/numeric.h"
#include "render/pixel_format.h"
#include "render/state.h"
#include "render/threads.h"

namespace kwr {

namespace {
// Storage of the built-in texel.  Nothing ever writes to it; it is not const
// only because the bindings hold non-const pointers.
alignas(4) unsigned char builtinTexelCell[4] = {0xFF, 0xFF, 0xFF, 0xFF};

// Forgets the frame geometry so that drawing without a surface clips
// everything away instead of touching released memory.
void forgetSurface(RenderState& s) {
    s.width = 0;
    s.height = 0;
    s.clipRight = -1;
    s.clipBottom = -1;
    s.widthF = 0.0f;
    s.heightF = 0.0f;
    s.clipRightF = -1.0f;
    s.clipBottomF = -1.0f;
    s.centerX = 0.0f;
    s.centerY = 0.0f;
    s.pitch = 0;
    s.bits = nullptr;
}

// The scan-line table goes with the surface: both are made by kwrInitBuffer
// and released together.
void releaseSurface(RenderState& s) {
    if (s.dib != nullptr) {
        delete s.dib;
        s.dib = nullptr;
    }
    std::free(s.scanBlock);
    s.scanBlock = nullptr;
    layOutScanTable(s.scan, nullptr, 0);
}

void releaseOwnDepthBuffer(RenderState& s) {
    if (s.zBuffer != nullptr && s.zBufferExternal == 0) {
        std::free(s.zBuffer);
        s.zBuffer = nullptr;
    }
}

// 0 for a frame buffer the context can have, else why not.
int sizeRefusal(int width, int height, int bpp) {
    if (width < 1 || height < 1) return kDibBadSize;
    if (width > KWR_MAX_SURFACE_WIDTH) return kDibTooWide;
    if (height > KWR_MAX_SURFACE_HEIGHT) return kDibTooTall;
    const std::uint64_t row = dibRowBytes(static_cast<std::uint64_t>(bpp), static_cast<std::uint64_t>(width));
    return row * static_cast<std::uint64_t>(height) <= KWR_MAX_SURFACE_PIXEL_BYTES ? kDibOk : kDibTooLarge;
}
}  // namespace

unsigned char* const kBuiltinTexel = builtinTexelCell;

void layOutScanTable(ScanLineTable& t, void* block, int rows) {
    float* const f = static_cast<float*>(block);
    const std::size_t stride = block != nullptr ? scanLineStride(rows) : 0;
    // Each array starts `stride` entries after the one before; with no block
    // every pointer is null.
    std::size_t next = 0;
    auto array = [&]() { return f != nullptr ? f + stride * next++ : nullptr; };
    t.scanLeftX = reinterpret_cast<std::int32_t*>(array());
    t.scanRightX = reinterpret_cast<std::int32_t*>(array());
    t.scanLeftZ = array();
    t.scanRightZ = array();
    for (auto& c : t.scanLeftColor) c = array();
    for (auto& c : t.scanRightColor) c = array();
    t.scanLeftU = array();
    t.scanRightU = array();
    t.scanLeftV = array();
    t.scanRightV = array();
    t.scanLeftQ = array();
    t.scanRightQ = array();
}

}  // namespace kwr

using kwr::RenderState;

KWRRender::KWRRender() : s(*::new (static_cast<void*>(state_)) RenderState) {
    initState(kwr::threadsFromEnvironment());
}

KWRRender::KWRRender(ShadowTag) : s(*::new (static_cast<void*>(state_)) RenderState) { initState(1); }

void KWRRender::initState(int threadsWanted) {
    static_assert(sizeof(RenderState) <= kStateBytes, "the state outgrew its block in KWRRender.h");
    static_assert(alignof(RenderState) <= alignof(KWRRender), "the state needs more alignment than its block");
    s.dib = nullptr;
    s.scanBlock = nullptr;
    kwr::layOutScanTable(s.scan, nullptr, 0);
    s.zBuffer = nullptr;
    s.zBufferExternal = 0;
    s.color = 0xFF000000u;
    s.color16 = 0;
    s.color8 = 0;
    s.zBufferEnable = 1;
    s.zTestEnable = 1;
    s.alphaEnable = 0;
    s.renderBpp = 24;
    s.zBackDepth = 1.0f;
    kwr::forgetSurface(s);
    s.zTestActive = 1;
    s.texture = kwr::kBuiltinTexel;
    s.textureWidth = 1;
    s.textureHeight = 1;
    s.textureBpp = 4;
    s.alphaMap = kwr::kBuiltinTexel;
    s.alphaMapWidth = 1;
    s.alphaMapHeight = 1;
    s.alphaMapBpp = 1;
    s.cullMode = KWR_CULL_NONE;
    s.textureFilter = KWR_FILTER_NEAREST;
    // Threads are started by kwrSetThreads or, for a count from the
    // environment, by the first kwrInitBuffer: never while drawing.
    s.pool = nullptr;
    s.threadsWanted = threadsWanted;
    s.lastError = 0;
    s.bandShift = kwr::kDefaultBandShift;
    s.bandCount = 1;
    s.bandIndex = 0;
    s.bandThreads = nullptr;
}

KWRRender::~KWRRender() {
    kwrDestroy();
    delete s.pool;
}

KWRRender& KWRRender::operator=(const KWRRender& other) {
    // A deliberate shallow copy of every field, the pointers to the surface,
    // the depth buffer and the scan-line table included; nothing this object
    // held is released.  Both lists are drawn first; the copy draws on one
    // thread and never shares the other's pool.
    if (this != &other) {
        kwrFlush();
        if (other.s.pool != nullptr) other.s.pool->flush();
        kwr::ThreadPool* const own = s.pool;
        std::memcpy(static_cast<void*>(&s), &other.s, sizeof(RenderState));
        delete own;
        s.pool = nullptr;
        s.threadsWanted = 1;
    }
    return *this;
}

namespace {
// Starts or stops the context's threads to match s.threadsWanted for a
// surface of the current height; one thread when they cannot be had.
void matchPool(RenderState& s) {
    const int want = s.threadsWanted;
    if (s.pool != nullptr && s.pool->threads() == want && s.pool->resize(s.height)) return;
    delete s.pool;
    s.pool = want > 1 ? kwr::ThreadPool::create(want, s.height) : nullptr;
    if (s.pool == nullptr) s.threadsWanted = 1;
}
}  // namespace

int KWRRender::kwrSetThreads(int n) {
    kwrFlush();
    s.threadsWanted = kwr::threadsForRequest(n);
    matchPool(s);
    return kwrGetThreads();
}

int KWRRender::kwrGetThreads() { return s.threadsWanted; }

void KWRRender::kwrFlush() {
    if (s.pool != nullptr) s.pool->flush();
}

int KWRRender::kwrInitBuffer(int width, int height) {
    kwrFlush();
    kwr::releaseSurface(s);
    kwr::releaseOwnDepthBuffer(s);
    kwr::forgetSurface(s);

    s.lastError = kwr::sizeRefusal(width, height, s.renderBpp);
    if (s.lastError != 0) return 0;
    s.lastError = kwr::kDibAllocateMemory;
    s.dib = new (std::nothrow) kwr::DibStream();
    if (s.dib == nullptr || !s.dib->Create(width, -height, s.renderBpp)) {
        kwr::releaseSurface(s);
        return 0;
    }
    // The scan-line table needs no initial contents: every triangle resets
    // the rows it uses before reading them.
    s.scanBlock = std::malloc(kwr::scanTableBytes(height));
    if (s.scanBlock == nullptr) {
        kwr::releaseSurface(s);
        return 0;
    }
    kwr::layOutScanTable(s.scan, s.scanBlock, height);

    s.width = width;
    s.height = height;
    s.clipRight = width - 1;
    s.clipBottom = height - 1;
    s.pitch = s.dib->GetRowBytes();
    s.bits = s.dib->bits;
    // The block comes from the heap unzeroed.  Bytes that no drawing call
    // ever writes (the row padding at 24 bpp, pixels never drawn or cleared)
    // would otherwise show whatever the heap held, which differs with the
    // allocation history and so with the thread count: zeroing them once
    // makes every byte of the surface depend on the calls alone.
    std::memset(s.bits, 0, static_cast<std::size_t>(s.pitch) * static_cast<std::size_t>(height));
    s.widthF = static_cast<float>(s.width);
    s.heightF = static_cast<float>(s.height);
    s.clipRightF = static_cast<float>(s.clipRight);
    s.clipBottomF = static_cast<float>(s.clipBottom);
    s.centerX = s.widthF * 0.5f;
    s.centerY = s.heightF * 0.5f;

    if (s.renderBpp == 8) {
        // Palette entries 0..215 become the colour cube; entries 216..255
        // keep the surface's grey ramp.
        kwr::writeColorCubeTable(reinterpret_cast<unsigned char*>(s.dib->header) + 40);
    }

    if (s.zBufferEnable != 0) {
        if (s.zBufferExternal == 0) {
            const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
            // Zeroed, like the pixels: depths no call has written yet are
            // the same at every thread count and allocation history.
            s.zBuffer = static_cast<float*>(std::calloc(count, sizeof(float)));
            if (s.zBuffer == nullptr) {
                kwr::releaseSurface(s);
                kwr::forgetSurface(s);
                return 0;
            }
        }
        s.zTestActive = s.zTestEnable;
    } else {
        s.zTestActive = 0;
    }

    // The threads' tables follow the surface before anything is recorded
    // for them to draw on it.
    matchPool(s);
    kwrSetColor(s.color);
    s.lastError = 0;
    return 1;
}

void KWRRender::kwrDestroy() {
    kwrFlush();
    kwr::releaseSurface(s);
    kwr::releaseOwnDepthBuffer(s);
    kwr::forgetSurface(s);
}

int KWRRender::kwrSetRenderBpp(int bpp) {
    if (bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32) {
        s.lastError = kwr::kDibBadDepth;
        return 0;
    }
    s.lastError = 0;
    KWR_RECORD_STATE(kwrSetRenderBpp, bpp);
    s.renderBpp = bpp;
    return 1;
}

void KWRRender::kwrSetColor(unsigned long argb) {
    if (kwr::recording(s)) s.pool->holdColour();
    kwr::setCurrentColour(s, static_cast<std::uint32_t>(argb));
}

namespace {
// floor(v * 255 + 0.5) as an unsigned word; out-of-range components keep
// their extra bits, which spill into the neighbouring channels.
std::uint32_t colorComponent(float v) {
    return static_cast<std::uint32_t>(kwr::roundHalfUp(v * 255.0f));
}
}  // namespace

void KWRRender::kwrSetColorf(float r, float g, float b) {
    kwrSetColor(0xFF000000u | (colorComponent(r) << 16) | (colorComponent(g) << 8) |
                colorComponent(b));
}

void KWRRender::kwrSetColor4f(float r, float g, float b, float a) {
    const std::uint32_t word =
        ((((colorComponent(a) << 8) | colorComponent(r)) << 8 | colorComponent(g)) << 8) |
        colorComponent(b);
    kwrSetColor(word);
}

unsigned long KWRRender::kwrGetColor() { return s.color; }

int KWRRender::kwrGetLastError() { return s.lastError; }

const char* KWRRender::kwrGetErrorText(int code) {
    switch (code) {
    case KWR_ERROR_BAD_ARGUMENT: return "bad argument";
    case KWR_ERROR_BAD_INDEX: return "index out of range";
    case KWR_ERROR_NOT_FINITE: return "vertex not finite";
    case KWR_ERROR_NO_FRAME: return "no frame buffer";
    default: return kwr::dibErrorText(code);
    }
}

namespace {
// Clears rows first..last to the current colour in the format's own way
// (Format::clearRows), and the depth buffer's rows to the back depth.
void clearRows(const RenderState& s, int first, int last) {
    unsigned char* const top = s.bits + static_cast<std::ptrdiff_t>(first) * s.pitch;
    kwr::withFormat(s.renderBpp, [&](auto format) {
        decltype(format)::clearRows(top, s.pitch, last - first + 1, s.width, kwr::solidColor(s));
    });
    if (s.zBufferEnable != 0 && s.zBuffer != nullptr) {
        const std::ptrdiff_t w = s.width;
        std::fill(s.zBuffer + first * w, s.zBuffer + (last + std::ptrdiff_t{1}) * w, s.zBackDepth);
    }
}
}  // namespace

void KWRRender::kwrClear() {
    if (kwr::recording(s)) return kwr::recordMember<&KWRRender::kwrClear>(s);
    if (s.dib == nullptr || s.bits == nullptr) return;
    kwr::forOwnedRows(s, 0, s.height - 1, [&](int first, int last) { clearRows(s, first, last); });
}

void KWRRender::kwrZBufferEnable(int enable) {
    KWR_RECORD_STATE(kwrZBufferEnable, enable);
    s.zBufferEnable = enable;
}

void KWRRender::kwrZTestEnable(int enable) {
    KWR_RECORD_STATE(kwrZTestEnable, enable);
    s.zTestEnable = enable;
    if (s.zBuffer != nullptr) s.zTestActive = enable;
}

void KWRRender::kwrAlphaEnable(int enable) {
    KWR_RECORD_STATE(kwrAlphaEnable, enable);
    s.alphaEnable = enable;
}

void KWRRender::kwrSetExternalZBuffer(float* zbuffer) {
    kwrFlush();
    kwr::releaseOwnDepthBuffer(s);
    s.zBuffer = zbuffer;
    s.zBufferExternal = zbuffer != nullptr ? 1 : 0;
}

void KWRRender::kwrSetZBackDepth(float z) {
    KWR_RECORD_STATE(kwrSetZBackDepth, z);
    s.zBackDepth = z;
}

float* KWRRender::kwrGetZBuffer() {
    kwrFlush();
    return s.zBuffer;
}

namespace {
// Binds host memory as a map, or with a null pointer restores the built-in
// texel with size 1 x 1 and the given default pitch.
void bindMap(unsigned char*& data, int& width, int& height, int& pitch, unsigned char* p, int w, int h,
             int rowPitch, int defaultPitch) {
    data = p != nullptr ? p : kwr::kBuiltinTexel;
    width = p != nullptr ? w : 1;
    height = p != nullptr ? h : 1;
    pitch = p != nullptr ? rowPitch : defaultPitch;
}
}  // namespace

void KWRRender::kwrSetTexture(unsigned char* texels, int width, int height, int rowPitch) {
    KWR_RECORD_STATE(kwrSetTexture, texels, width, height, rowPitch);
    bindMap(s.texture, s.textureWidth, s.textureHeight, s.textureBpp, texels, width, height, rowPitch, 4);
}

void KWRRender::kwrSetAlphaMap(unsigned char* values, int width, int height, int rowPitch) {
    KWR_RECORD_STATE(kwrSetAlphaMap, values, width, height, rowPitch);
    bindMap(s.alphaMap, s.alphaMapWidth, s.alphaMapHeight, s.alphaMapBpp, values, width, height, rowPitch, 1);
}

int KWRRender::kwrGetDib(void** header, void** pixels) {
    kwrFlush();
    void* h = s.dib != nullptr ? static_cast<void*>(s.dib->header) : nullptr;
    void* p = s.dib != nullptr ? static_cast<void*>(s.dib->bits) : nullptr;
    if (header != nullptr) *header = h;
    if (pixels != nullptr) *pixels = p;
    return s.dib != nullptr ? 1 : 0;
}

void KWRRender::kwrRender(HDC hdc, int x, int y) {
    kwrFlush();
    if (s.dib != nullptr) s.dib->Draw(hdc, x, y);
}
