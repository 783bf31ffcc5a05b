// The Windows window: every frame goes through kwrRender(hdc, ...), that is
// through GDI, into the window's device context.
#include "window.h"

#include <windows.h>

#include "KWRRender.h"

namespace kwr_demo {
namespace {

const wchar_t kClassName[] = L"kwrender_demo_window";

LRESULT CALLBACK windowProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
    case WM_PAINT: {
        // The demo presents a frame on every pass of its loop; here the
        // damaged area is only marked as handled.
        PAINTSTRUCT ps;
        BeginPaint(hwnd, &ps);
        EndPaint(hwnd, &ps);
        return 0;
    }
    case WM_KEYDOWN:
        if (wp == VK_ESCAPE) DestroyWindow(hwnd);
        return 0;
    case WM_DESTROY:
        SetWindowLongPtrW(hwnd, GWLP_USERDATA, 1);
        return 0;
    default:
        return DefWindowProcW(hwnd, msg, wp, lp);
    }
}

class Win32Window : public Window {
public:
    explicit Win32Window(HWND hwnd) : hwnd_(hwnd) {}
    ~Win32Window() override {
        if (IsWindow(hwnd_)) DestroyWindow(hwnd_);
    }

    void present(KWRRender& r) override {
        if (!IsWindow(hwnd_)) return;
        HDC dc = GetDC(hwnd_);
        r.kwrRender(dc, 0, 0);
        ReleaseDC(hwnd_, dc);
        GdiFlush();
    }

    bool pump() override {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        return IsWindow(hwnd_) && GetWindowLongPtrW(hwnd_, GWLP_USERDATA) == 0;
    }

    void origin(int& x, int& y) override {
        POINT p{0, 0};
        ClientToScreen(hwnd_, &p);
        x = p.x;
        y = p.y;
    }

private:
    HWND hwnd_;
};

}  // namespace

std::unique_ptr<Window> Window::open(const std::string& title, int x, int y, int width, int height,
                                     std::string& error) {
    HINSTANCE instance = GetModuleHandleW(nullptr);
    WNDCLASSW wc = {};
    wc.lpfnWndProc = windowProc;
    wc.hInstance = instance;
    wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
    wc.lpszClassName = kClassName;
    RegisterClassW(&wc);  // fails harmlessly when the class exists already

    // A window with a caption, sized so that its client area is width x
    // height.
    const DWORD style = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX;
    RECT rect{0, 0, width, height};
    AdjustWindowRect(&rect, style, FALSE);
    const int len = MultiByteToWideChar(CP_UTF8, 0, title.c_str(), -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(len > 0 ? len : 1), L'\0');
    if (len > 0) MultiByteToWideChar(CP_UTF8, 0, title.c_str(), -1, &wide[0], len);
    HWND hwnd = CreateWindowExW(0, kClassName, wide.c_str(), style | WS_VISIBLE, x, y, rect.right - rect.left,
                                rect.bottom - rect.top, nullptr, nullptr, instance, nullptr);
    if (hwnd == nullptr) {
        error = "cannot open a window (CreateWindowEx failed)";
        return nullptr;
    }
    UpdateWindow(hwnd);
    return std::unique_ptr<Window>(new Win32Window(hwnd));
}

}  // namespace kwr_demo
