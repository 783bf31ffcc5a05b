// The image library's display calls in a real window: an 8 bpp image with
// its palette selected and realised, drawn 1:1, and a 24 bpp image stretched
// 2x and shrunk 1/2, each drawn with kwrDraw into the window and read back
// from the window's device context.  Each must equal the same image drawn by
// GDI itself into a DIB section with the same stretch, so the check measures
// our calls, not GDI's scaling rule.  Run on a (virtual) display; exits 0
// when every case matches.
#include <windows.h>

#include <cstdint>
#include <cstdio>

#include "KWRImage.h"
#include "dib_section.h"

namespace {

constexpr int kWindowW = 160, kWindowH = 120;

LRESULT CALLBACK windowProc(HWND w, UINT m, WPARAM wp, LPARAM lp) { return DefWindowProcW(w, m, wp, lp); }

void pump() {
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

// The window's client area as 0x00RRGGBB, read through GDI.
void readWindow(HDC windowDc, kwr_demo::DibSection& out) {
    GdiFlush();
    BitBlt(out.dc, 0, 0, kWindowW, kWindowH, windowDc, 0, 0, SRCCOPY);
    GdiFlush();
}

// The same image drawn by GDI into a DIB section, with the stretch mode
// kwrDraw uses.
void drawReference(const KWRImage& img, int w, int h, kwr_demo::DibSection& out) {
    PatBlt(out.dc, 0, 0, kWindowW, kWindowH, BLACKNESS);
    SetStretchBltMode(out.dc, COLORONCOLOR);
    StretchDIBits(out.dc, 0, 0, w, h, 0, 0, img.kwrGetWidth(), img.kwrGetHeight(), img.kwrGetPixels(),
                  static_cast<const BITMAPINFO*>(img.kwrGetBitmapInfo()), DIB_RGB_COLORS, SRCCOPY);
    GdiFlush();
}

// Compares the w x h corner of the window with the reference; a window that
// is still being mapped may need a few tries.
bool check(const char* what, HWND window, const KWRImage& img, int w, int h, HPALETTE palette) {
    kwr_demo::DibSection grab(kWindowW, kWindowH), want(kWindowW, kWindowH);
    if (grab.pixels == nullptr || want.pixels == nullptr) return false;
    drawReference(img, w, h, want);
    int differ = -1;
    for (int attempt = 0; attempt < 20 && differ != 0; ++attempt) {
        HDC dc = GetDC(window);
        HPALETTE old = palette != nullptr ? KWRImage::kwrSelectPalette(dc, palette) : nullptr;
        PatBlt(dc, 0, 0, kWindowW, kWindowH, BLACKNESS);
        const int drawn = img.kwrDraw(dc, 0, 0, w, h);
        readWindow(dc, grab);
        if (palette != nullptr) SelectPalette(dc, old, FALSE);
        ReleaseDC(window, dc);
        if (drawn != 1) {
            std::printf("%s: kwrDraw drew nothing\n", what);
            return false;
        }
        differ = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                if ((grab.pixels[y * kWindowW + x] & 0xFFFFFFu) != (want.pixels[y * kWindowW + x] & 0xFFFFFFu)) ++differ;
        pump();
        if (differ != 0) Sleep(100);
    }
    std::printf("%s: %d of %d pixels differ\n", what, differ, w * h);
    return differ == 0;
}

}  // namespace

int main() {
    WNDCLASSW wc = {};
    wc.lpfnWndProc = windowProc;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"kwrImageWindow";
    if (RegisterClassW(&wc) == 0) return 2;
    HWND window = CreateWindowExW(0, wc.lpszClassName, L"kwrDraw", WS_POPUP | WS_VISIBLE, 0, 0, kWindowW, kWindowH,
                                  nullptr, nullptr, wc.hInstance, nullptr);
    if (window == nullptr) return 2;
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);
    for (int i = 0; i < 10; ++i) {
        pump();
        Sleep(50);
    }

    // An 8 bpp image over the colour cube, with its palette realised.
    KWRImage indexed;
    if (!indexed.kwrCreate(48, 32, 8)) return 2;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 48; ++x) indexed.kwrGetRow(y)[x] = static_cast<unsigned char>((x * 7 + y * 13) % 216);
    HPALETTE palette = indexed.kwrCreatePalette();
    bool ok = palette != nullptr;
    ok = check("8 bpp with its palette, 1:1", window, indexed, 48, 32, palette) && ok;
    if (palette != nullptr) DeleteObject(palette);

    // A 24 bpp image, stretched 2x and shrunk to half.
    KWRImage rgb;
    if (!rgb.kwrCreate(40, 30, 24)) return 2;
    for (int y = 0; y < 30; ++y) {
        unsigned char* row = rgb.kwrGetRow(y);
        for (int x = 0; x < 40; ++x) {
            row[3 * x + 0] = static_cast<unsigned char>(x * 6);
            row[3 * x + 1] = static_cast<unsigned char>(y * 8);
            row[3 * x + 2] = static_cast<unsigned char>((x ^ y) * 5);
        }
    }
    ok = check("24 bpp stretched 2x", window, rgb, 80, 60, nullptr) && ok;
    ok = check("24 bpp shrunk to half", window, rgb, 20, 15, nullptr) && ok;

    DestroyWindow(window);
    return ok ? 0 : 1;
}
