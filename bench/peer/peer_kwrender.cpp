// kwrender through its public interface, at any of its four formats.
#include <cstring>

#include "KWRRender.h"
#include "peer.h"

namespace peerbench {

namespace {

class KwrenderPeer final : public Peer {
public:
    KwrenderPeer(int bpp, const Texture& texture, int threads) : bpp_(bpp), texture_(texture) {
        r_->kwrSetRenderBpp(bpp);
        r_->kwrZBufferEnable(1);
        r_->kwrInitBuffer(kWidth, kHeight);
        threads_ = r_->kwrSetThreads(threads);
        r_->kwrSetTexture(texture_.data(), kTextureSize, kTextureSize, kTextureSize * 4);
    }

    std::string howDrawn(Mode m) const override {
        switch (m) {
        case Mode::Flat: return "kwrSetColor + kwrTrianglef";
        case Mode::FlatDepth: return "kwrSetColor + kwrTriangle3f";
        case Mode::Gouraud: return "kwrTrianglecf";
        case Mode::GouraudDepth: return "kwrTriangle3cf";
        case Mode::Textured: return "kwrTrianglectf";
        case Mode::TexturedDepth: return "kwrTriangle3ctf";
        case Mode::BlendedFlat: return "kwrAlphaEnable(1), kwrSetColor + kwrTrianglef";
        case Mode::BlendedGouraud: return "kwrAlphaEnable(1), kwrTrianglecf";
        }
        return {};
    }

    std::string describe() const override {
        return "kwrender " + std::to_string(bpp_) + " bpp" +
               (threads_ > 1 ? ", " + std::to_string(threads_) + " threads" : std::string());
    }

    void prepare(Mode m, const TriangleSet& set) override {
        mode_ = m;
        set_ = &set;
        r_->kwrAlphaEnable(modeIsBlended(m) ? 1 : 0);
    }

    void clear() override {
        r_->kwrSetColor(0xFF000000u);
        r_->kwrClear();
        r_->kwrFlush();  // the clear is not timed
    }

    void draw(std::size_t triangles) override {
        const Vertex* v = set_->vertices.data();
        KWRRender& r = *r_;
        for (std::size_t i = 0; i < triangles; ++i, v += 3) {
            const Vertex &a = v[0], &b = v[1], &c = v[2];
            switch (mode_) {
            case Mode::Flat:
            case Mode::BlendedFlat:
                r.kwrSetColor(a.argb);
                r.kwrTrianglef(a.x, a.y, b.x, b.y, c.x, c.y);
                break;
            case Mode::FlatDepth:
                r.kwrSetColor(a.argb);
                r.kwrTriangle3f(a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z);
                break;
            case Mode::Gouraud:
            case Mode::BlendedGouraud:
                r.kwrTrianglecf(a.x, a.y, a.argb, b.x, b.y, b.argb, c.x, c.y, c.argb);
                break;
            case Mode::GouraudDepth:
                r.kwrTriangle3cf(a.x, a.y, a.z, a.argb, b.x, b.y, b.z, b.argb, c.x, c.y, c.z, c.argb);
                break;
            case Mode::Textured:
                r.kwrTrianglectf(a.x, a.y, a.argb, a.u, a.v, b.x, b.y, b.argb, b.u, b.v,
                                 c.x, c.y, c.argb, c.u, c.v);
                break;
            case Mode::TexturedDepth:
                r.kwrTriangle3ctf(a.x, a.y, a.z, a.argb, a.u, a.v, b.x, b.y, b.z, b.argb, b.u, b.v,
                                  c.x, c.y, c.z, c.argb, c.u, c.v);
                break;
            }
        }
        r.kwrFlush();  // with several threads, the frame is drawn here
    }

    bool readFrame(std::uint8_t* bgra) override {
        if (bpp_ != 32) return false;
        void* header = nullptr;
        void* pixels = nullptr;
        r_->kwrGetDib(&header, &pixels);
        std::memcpy(bgra, pixels, std::size_t(kWidth) * kHeight * 4);
        return true;
    }

private:
    int bpp_;
    int threads_ = 1;
    Texture texture_;  // the library reads the host's texels while drawing
    std::unique_ptr<KWRRender> r_ = std::make_unique<KWRRender>();
    Mode mode_ = Mode::Flat;
    const TriangleSet* set_ = nullptr;
};

}  // namespace

std::unique_ptr<Peer> makeKwrenderPeer(int bpp, const Texture& texture, int threads) {
    return std::make_unique<KwrenderPeer>(bpp, texture, threads);
}

}  // namespace peerbench
