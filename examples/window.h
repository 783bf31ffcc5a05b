// A window on the screen that shows frames of a render context: a Win32
// window presenting through GDI on Windows, an SDL2 window presenting into
// its own pixel buffer elsewhere.
#ifndef KWR_EXAMPLES_WINDOW_H
#define KWR_EXAMPLES_WINDOW_H

#include <memory>
#include <string>

class KWRRender;

namespace kwr_demo {

class Window {
public:
    // Opens a window whose client area is width x height pixels, placed at
    // (x, y) of the screen where the window system allows it.  Null with
    // `error` set when this build or this system has no windows.
    static std::unique_ptr<Window> open(const std::string& title, int x, int y, int width, int height,
                                        std::string& error);
    virtual ~Window() = default;
    // Shows the frame of `r` (its top-left at the client area's top-left).
    virtual void present(KWRRender& r) = 0;
    // Handles pending window events; false once the window was closed (or
    // Escape pressed).
    virtual bool pump() = 0;
    // The screen position of the client area's top-left pixel.
    virtual void origin(int& x, int& y) = 0;
};

}  // namespace kwr_demo

#endif
