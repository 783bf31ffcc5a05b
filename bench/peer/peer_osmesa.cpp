// Mesa's llvmpipe through OSMesa: legacy OpenGL with an orthographic
// projection onto the 1024x768 frame, the set in a vertex buffer uploaded
// before timing, one glDrawArrays per frame and glFinish before the clock
// stops.  The number of rasteriser threads is llvmpipe's LP_NUM_THREADS,
// read when the context is created.
#define GL_GLEXT_PROTOTYPES 1
#include <GL/osmesa.h>
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstddef>
#include <cstdlib>
#include <stdexcept>

#include "peer.h"

namespace peerbench {

namespace {

struct GlVertex {
    float x, y, z;
    std::uint8_t rgba[4];
    float u, v;
};

class OsmesaPeer final : public Peer {
public:
    explicit OsmesaPeer(const Texture& texture) : frame_(std::size_t(kWidth) * kHeight * 4) {
        // Blue, green, red, alpha bytes as kwrender's 32 bpp frame; a 24-bit
        // depth buffer, the deepest llvmpipe offers through OSMesa.
        ctx_ = OSMesaCreateContextExt(OSMESA_BGRA, 24, 0, 0, nullptr);
        if (ctx_ == nullptr || !OSMesaMakeCurrent(ctx_, frame_.data(), GL_UNSIGNED_BYTE, kWidth, kHeight))
            throw std::runtime_error("OSMesa context");
        OSMesaPixelStore(OSMESA_Y_UP, 0);  // row 0 at the top, as kwrender
        glViewport(0, 0, kWidth, kHeight);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        // x, y in pixels with y down; window depth = vertex z.
        glOrtho(0, kWidth, kHeight, 0, 0, -1);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glDisable(GL_DITHER);
        glDisable(GL_CULL_FACE);
        glDepthFunc(GL_LESS);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glClearColor(0, 0, 0, 1);
        glClearDepth(1.0);

        glGenTextures(1, &texture_);
        glBindTexture(GL_TEXTURE_2D, texture_);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kTextureSize, kTextureSize, 0, GL_BGRA, GL_UNSIGNED_BYTE,
                     texture.data());
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);

        glGenBuffers(1, &buffer_);
        glBindBuffer(GL_ARRAY_BUFFER, buffer_);
        glEnableClientState(GL_VERTEX_ARRAY);
        glEnableClientState(GL_COLOR_ARRAY);
        glVertexPointer(3, GL_FLOAT, sizeof(GlVertex), reinterpret_cast<void*>(offsetof(GlVertex, x)));
        glColorPointer(4, GL_UNSIGNED_BYTE, sizeof(GlVertex), reinterpret_cast<void*>(offsetof(GlVertex, rgba)));
        glTexCoordPointer(2, GL_FLOAT, sizeof(GlVertex), reinterpret_cast<void*>(offsetof(GlVertex, u)));
    }

    ~OsmesaPeer() override { OSMesaDestroyContext(ctx_); }

    std::string howDrawn(Mode m) const override {
        std::string s = "glDrawArrays(GL_TRIANGLES) from a vertex buffer";
        if (modeIsFlat(m)) s += ", GL_FLAT shading";
        if (modeHasDepth(m)) s += ", GL_LESS on a 24-bit depth buffer";
        if (modeIsTextured(m)) s += ", GL_NEAREST, GL_REPEAT, GL_MODULATE";
        if (modeIsBlended(m)) s += ", SRC_ALPHA / ONE_MINUS_SRC_ALPHA";
        return s;
    }

    std::string describe() const override {
        const char* threads = std::getenv("LP_NUM_THREADS");
        return std::string(reinterpret_cast<const char*>(glGetString(GL_RENDERER))) + ", " +
               reinterpret_cast<const char*>(glGetString(GL_VERSION)) + ", LP_NUM_THREADS=" +
               (threads ? threads : "(unset)");
    }

    void prepare(Mode m, const TriangleSet& set) override {
        std::vector<GlVertex> vertices;
        vertices.reserve(set.vertices.size());
        for (const Vertex& v : set.vertices) {
            GlVertex g{v.x, v.y, v.z,
                       {std::uint8_t(v.argb >> 16), std::uint8_t(v.argb >> 8), std::uint8_t(v.argb),
                        std::uint8_t(v.argb >> 24)},
                       v.u, v.v};
            vertices.push_back(g);
        }
        glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(vertices.size() * sizeof(GlVertex)), vertices.data(),
                     GL_STATIC_DRAW);
        glShadeModel(modeIsFlat(m) ? GL_FLAT : GL_SMOOTH);
        enable(GL_DEPTH_TEST, modeHasDepth(m));
        enable(GL_BLEND, modeIsBlended(m));
        enable(GL_TEXTURE_2D, modeIsTextured(m));
        if (modeIsTextured(m))
            glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        else
            glDisableClientState(GL_TEXTURE_COORD_ARRAY);
        glFinish();
    }

    void clear() override {
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glFinish();
    }

    void draw(std::size_t triangles) override {
        glDrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(triangles * 3));
        glFinish();
    }

    bool readFrame(std::uint8_t* bgra) override {
        glFinish();
        std::copy(frame_.begin(), frame_.end(), bgra);
        return true;
    }

private:
    static void enable(GLenum cap, bool on) { on ? glEnable(cap) : glDisable(cap); }

    std::vector<std::uint8_t> frame_;
    OSMesaContext ctx_ = nullptr;
    GLuint texture_ = 0, buffer_ = 0;
};

}  // namespace

std::unique_ptr<Peer> makeOsmesaPeer(const Texture& texture) { return std::make_unique<OsmesaPeer>(texture); }

}  // namespace peerbench
