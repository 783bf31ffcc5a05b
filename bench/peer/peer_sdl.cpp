// SDL2's software renderer drawing into a 32-bit surface with
// SDL_RenderGeometry; SDL_RenderFlush before the clock stops.  It has no
// depth buffer, and it refuses texture coordinates outside 0..1 (no repeat).
#include <SDL2/SDL.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "peer.h"

namespace peerbench {

namespace {

class SdlPeer final : public Peer {
public:
    explicit SdlPeer(const Texture& texture) {
        // ARGB8888 is blue, green, red, alpha in memory, as kwrender's frame.
        surface_ = SDL_CreateRGBSurfaceWithFormat(0, kWidth, kHeight, 32, SDL_PIXELFORMAT_ARGB8888);
        renderer_ = surface_ ? SDL_CreateSoftwareRenderer(surface_) : nullptr;
        texture_ = renderer_ ? SDL_CreateTexture(renderer_, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STATIC,
                                                 kTextureSize, kTextureSize)
                             : nullptr;
        if (texture_ == nullptr) throw std::runtime_error(SDL_GetError());
        SDL_UpdateTexture(texture_, nullptr, texture.data(), kTextureSize * 4);
        SDL_SetTextureBlendMode(texture_, SDL_BLENDMODE_NONE);
        SDL_SetTextureScaleMode(texture_, SDL_ScaleModeNearest);
    }

    ~SdlPeer() override {
        SDL_DestroyTexture(texture_);
        SDL_DestroyRenderer(renderer_);
        SDL_FreeSurface(surface_);
    }

    std::string unsupported(Mode m) const override {
        return modeHasDepth(m) ? "no depth buffer" : std::string();
    }

    std::string howDrawn(Mode m) const override {
        std::string s = "SDL_RenderGeometry on a software renderer";
        if (modeIsTextured(m))
            s += ", nearest; coordinates moved into 0..1 per triangle and squeezed where a triangle spans more "
                 "than the texture";
        if (modeIsBlended(m)) s += ", SDL_BLENDMODE_BLEND";
        return s;
    }

    std::string describe() const override {
        SDL_version v;
        SDL_GetVersion(&v);
        return "SDL " + std::to_string(v.major) + "." + std::to_string(v.minor) + "." + std::to_string(v.patch) +
               " software renderer";
    }

    void prepare(Mode m, const TriangleSet& set) override {
        textured_ = modeIsTextured(m);
        vertices_.clear();
        vertices_.reserve(set.vertices.size());
        for (std::size_t i = 0; i < set.vertices.size(); i += 3) {
            const Vertex* t = &set.vertices[i];
            float uMin = std::min({t[0].u, t[1].u, t[2].u}), vMin = std::min({t[0].v, t[1].v, t[2].v});
            float uMax = std::max({t[0].u, t[1].u, t[2].u}), vMax = std::max({t[0].v, t[1].v, t[2].v});
            const float uBase = std::floor(uMin), vBase = std::floor(vMin);
            const float uScale = uMax - uBase > 1 ? 1 / (uMax - uBase) : 1;
            const float vScale = vMax - vBase > 1 ? 1 / (vMax - vBase) : 1;
            for (int k = 0; k < 3; ++k) {
                SDL_Vertex s;
                s.position = {t[k].x, t[k].y};
                s.color = {std::uint8_t(t[k].argb >> 16), std::uint8_t(t[k].argb >> 8), std::uint8_t(t[k].argb),
                           std::uint8_t(t[k].argb >> 24)};
                s.tex_coord = {std::min(1.0f, (t[k].u - uBase) * uScale), std::min(1.0f, (t[k].v - vBase) * vScale)};
                vertices_.push_back(s);
            }
        }
        blend_ = modeIsBlended(m) ? SDL_BLENDMODE_BLEND : SDL_BLENDMODE_NONE;
        SDL_SetRenderDrawBlendMode(renderer_, blend_);
    }

    void clear() override {
        SDL_SetRenderDrawBlendMode(renderer_, SDL_BLENDMODE_NONE);
        SDL_SetRenderDrawColor(renderer_, 0, 0, 0, 255);
        SDL_RenderClear(renderer_);
        SDL_RenderFlush(renderer_);
        SDL_SetRenderDrawBlendMode(renderer_, blend_);
    }

    void draw(std::size_t triangles) override {
        if (SDL_RenderGeometry(renderer_, textured_ ? texture_ : nullptr, vertices_.data(),
                               static_cast<int>(triangles * 3), nullptr, 0) != 0)
            throw std::runtime_error(SDL_GetError());
        SDL_RenderFlush(renderer_);
    }

    bool readFrame(std::uint8_t* bgra) override {
        for (int y = 0; y < kHeight; ++y)
            std::memcpy(bgra + std::size_t(y) * kWidth * 4, static_cast<std::uint8_t*>(surface_->pixels) + y * surface_->pitch,
                        std::size_t(kWidth) * 4);
        return true;
    }

private:
    SDL_Surface* surface_ = nullptr;
    SDL_Renderer* renderer_ = nullptr;
    SDL_Texture* texture_ = nullptr;
    std::vector<SDL_Vertex> vertices_;
    bool textured_ = false;
    SDL_BlendMode blend_ = SDL_BLENDMODE_NONE;
};

}  // namespace

std::unique_ptr<Peer> makeSdlPeer(const Texture& texture) { return std::make_unique<SdlPeer>(texture); }

}  // namespace peerbench
