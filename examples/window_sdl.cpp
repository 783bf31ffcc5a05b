// The Linux window: SDL2.  Every frame goes through kwrRender into a
// KWRMemoryDC that points at the window surface's own pixels.
#include "window.h"

#include <SDL.h>

#include <cstdint>

#include "KWRRender.h"

namespace kwr_demo {
namespace {

// True when the surface's pixels are 32-bit words 0x..RRGGBB, the layout
// kwrRender writes.
bool takesFramesDirectly(const SDL_Surface* s) {
    const SDL_PixelFormat* f = s->format;
    return f->BytesPerPixel == 4 && f->Rmask == 0xFF0000u && f->Gmask == 0xFF00u && f->Bmask == 0xFFu;
}

class SdlWindow : public Window {
public:
    SdlWindow(SDL_Window* w, int width, int height) : window_(w), width_(width), height_(height) {}
    ~SdlWindow() override {
        if (shadow_ != nullptr) SDL_FreeSurface(shadow_);
        SDL_DestroyWindow(window_);
        SDL_Quit();
    }

    void present(KWRRender& r) override {
        SDL_Surface* surface = SDL_GetWindowSurface(window_);
        if (surface == nullptr) return;
        // A window surface of another layout gets the frame through a
        // surface that has ours, converted by SDL.
        SDL_Surface* target = surface;
        if (!takesFramesDirectly(surface)) {
            if (shadow_ == nullptr) shadow_ = SDL_CreateRGBSurfaceWithFormat(0, width_, height_, 32, SDL_PIXELFORMAT_RGB888);
            if (shadow_ == nullptr) return;
            target = shadow_;
        }
        if (SDL_MUSTLOCK(target)) SDL_LockSurface(target);
        KWRMemoryDC dc{target->w, target->h, target->pitch, static_cast<std::uint32_t*>(target->pixels)};
        r.kwrRender(&dc, 0, 0);
        if (SDL_MUSTLOCK(target)) SDL_UnlockSurface(target);
        if (target != surface) SDL_BlitSurface(target, nullptr, surface, nullptr);
        SDL_UpdateWindowSurface(window_);
    }

    bool pump() override {
        SDL_Event e;
        while (SDL_PollEvent(&e)) {
            if (e.type == SDL_QUIT) open_ = false;
            if (e.type == SDL_KEYDOWN && e.key.keysym.sym == SDLK_ESCAPE) open_ = false;
        }
        return open_;
    }

    void origin(int& x, int& y) override { SDL_GetWindowPosition(window_, &x, &y); }

private:
    SDL_Window* window_;
    SDL_Surface* shadow_ = nullptr;
    int width_, height_;
    bool open_ = true;
};

}  // namespace

std::unique_ptr<Window> Window::open(const std::string& title, int x, int y, int width, int height,
                                     std::string& error) {
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
        error = std::string("cannot open a window: ") + SDL_GetError();
        return nullptr;
    }
    SDL_Window* w = SDL_CreateWindow(title.c_str(), x, y, width, height, SDL_WINDOW_SHOWN);
    if (w == nullptr) {
        error = std::string("cannot open a window: ") + SDL_GetError();
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
        return nullptr;
    }
    return std::unique_ptr<Window>(new SdlWindow(w, width, height));
}

}  // namespace kwr_demo
