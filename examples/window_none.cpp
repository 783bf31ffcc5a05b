// Builds without a window system library: --window reports why it cannot.
#include "window.h"

namespace kwr_demo {

std::unique_ptr<Window> Window::open(const std::string&, int, int, int, int, std::string& error) {
    error = "this build has no window support (install libsdl2-dev and rebuild)";
    return nullptr;
}

}  // namespace kwr_demo
