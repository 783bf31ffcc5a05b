// kwrender_demo: renders the showcase scene, as a picture, as a timed
// animation or in a window, and writes the gallery pictures.
//
//   kwrender_demo [--size WxH] [--bpp 8|16|24|32] [--out FILE.png|FILE.bmp]
//                 [--frames N] [--window] [--perspective] [--gallery DIR] [--format png|bmp]
//
// Without --frames one frame is drawn and timed; with --frames N the knot
// turns for N frames and the frame rate is printed (with a progress line on
// a terminal).  --window shows the frames in a window until it is closed
// (or for N frames).  --perspective adds the tiled floor drawn from clip
// space (perspective-correct, bilinear).  --gallery writes the README's
// pictures into DIR.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <io.h>
#define KWR_ISATTY(fd) _isatty(fd)
#else
#include <unistd.h>
#define KWR_ISATTY(fd) isatty(fd)
#endif

#include "KWRRender.h"
#include "families.h"
#include "picture.h"
#include "showcase.h"
#include "texture_file.h"
#include "window.h"

namespace {

using namespace kwr_demo;
using Clock = std::chrono::steady_clock;

struct Options {
    int width = 1024, height = 768, bpp = 32;
    std::string out;
    int frames = 0;           // 0: one timed picture
    bool window = false;
    bool perspective = false;  // the showcase's floor drawn from clip space
    std::string gallery;      // directory, empty when not asked for
    std::string format;       // "png" or "bmp" for the gallery
    std::string windowTest;   // directory of the window test's hand-shake files
};

void usage() {
    std::fprintf(stderr,
                 "usage: kwrender_demo [--size WxH] [--bpp 8|16|24|32] [--out FILE.png|FILE.bmp]\n"
                 "                     [--frames N] [--window] [--perspective] [--gallery DIR] [--format png|bmp]\n");
}

bool parse(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--size" && hasValue) {
            if (std::sscanf(argv[++i], "%dx%d", &o.width, &o.height) != 2 || o.width < 16 || o.height < 16 ||
                o.width > 4096 || o.height > 4096) {
                std::fprintf(stderr, "--size wants WxH between 16x16 and 4096x4096\n");
                return false;
            }
        } else if (a == "--bpp" && hasValue) {
            o.bpp = std::atoi(argv[++i]);
            if (o.bpp != 8 && o.bpp != 16 && o.bpp != 24 && o.bpp != 32) {
                std::fprintf(stderr, "--bpp wants 8, 16, 24 or 32\n");
                return false;
            }
        } else if (a == "--out" && hasValue) {
            o.out = argv[++i];
        } else if (a == "--frames" && hasValue) {
            o.frames = std::atoi(argv[++i]);
            if (o.frames < 1) {
                std::fprintf(stderr, "--frames wants a positive count\n");
                return false;
            }
        } else if (a == "--perspective") {
            o.perspective = true;
        } else if (a == "--window") {
            o.window = true;
        } else if (a == "--gallery" && hasValue) {
            o.gallery = argv[++i];
        } else if (a == "--format" && hasValue) {
            o.format = argv[++i];
            if (o.format != "png" && o.format != "bmp") {
                std::fprintf(stderr, "--format wants png or bmp\n");
                return false;
            }
        } else if (a == "--window-test" && hasValue) {
            o.windowTest = argv[++i];
            o.window = true;
        } else {
            usage();
            return false;
        }
    }
    return true;
}

std::unique_ptr<KWRRender> makeRender(int w, int h, int bpp) {
    auto r = std::make_unique<KWRRender>();
    if (r->kwrSetRenderBpp(bpp) != 1 || r->kwrInitBuffer(w, h) != 1) {
        std::fprintf(stderr, "cannot create a %dx%d frame of %d bpp\n", w, h, bpp);
        return nullptr;
    }
    return r;
}

std::string directoryOf(const std::string& path) {
    if (path.empty()) return ".";
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

// Prints what a save reports; true when it reports no error.
bool saved(const std::string& error) {
    if (error.empty()) return true;
    std::fprintf(stderr, "%s\n", error.c_str());
    return false;
}

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::string frameStatus(double ms) {
    char text[64];
    std::snprintf(text, sizeof text, "frame %.2f ms (%.0f fps), %s", ms, ms > 0 ? 1000.0 / ms : 0.0,
                  KWRRender::kwrGetSimdLevel());
    return text;
}

// One picture: draw the first frame a few times, show the best time in the
// picture and print it.
int renderPicture(const Options& o, ShowcaseAssets& assets) {
    auto r = makeRender(o.width, o.height, o.bpp);
    if (!r) return 1;
    ShowcaseFrame f;
    f.perspectiveFloor = o.perspective;
    double best = 1e30;
    for (int i = 0; i < 5; ++i) {
        const auto start = Clock::now();
        drawShowcase(*r, assets, f);
        const double ms = millisecondsSince(start);
        best = ms < best ? ms : best;
    }
    f.status = frameStatus(best);
    drawShowcase(*r, assets, f);
    std::printf("%2d bpp, %dx%d, %s: %.2f ms per frame (%.0f fps)", o.bpp, o.width, o.height,
                KWRRender::kwrGetSimdLevel(), best, 1000.0 / best);
    if (!o.out.empty()) {
        if (!saved(saveFrame(*r, o.out))) return 1;
        std::printf(", picture %s", o.out.c_str());
    }
    std::printf("\n");
    return 0;
}

// Frames of the turning knot, timed; on a terminal a progress line.
int renderAnimation(const Options& o, ShowcaseAssets& assets, Window* window) {
    auto r = makeRender(o.width, o.height, o.bpp);
    if (!r) return 1;
    const bool progress = KWR_ISATTY(2) != 0 && window == nullptr;
    ShowcaseFrame f;
    f.perspectiveFloor = o.perspective;
    double total = 0, last = 0, best = 1e30;
    int done = 0;
    const int frames = o.frames > 0 ? o.frames : 1 << 30;
    for (int i = 0; i < frames; ++i) {
        f.angle = showcaseAngle(i);
        f.status = i > 0 ? frameStatus(last) : std::string();
        const auto start = Clock::now();
        drawShowcase(*r, assets, f);
        last = millisecondsSince(start);
        total += last;
        best = last < best ? last : best;
        ++done;
        if (window != nullptr) {
            window->present(*r);
            if (!window->pump()) break;
        }
        if (progress && (i % 10 == 9 || i + 1 == frames)) {
            std::fprintf(stderr, "\rframe %d/%d  %.2f ms  %.1f fps   ", i + 1, frames, total / done,
                         1000.0 * done / total);
            std::fflush(stderr);
        }
    }
    if (progress) std::fprintf(stderr, "\n");
    std::printf("%2d bpp, %dx%d, %s: %d frames, %.2f ms per frame (%.1f fps), best %.2f ms\n", o.bpp, o.width,
                o.height, KWRRender::kwrGetSimdLevel(), done, total / done, 1000.0 * done / total, best);
    if (!o.out.empty() && !saved(saveFrame(*r, o.out))) return 1;

    if (window != nullptr && !o.windowTest.empty()) {
        // The window test: the frame the library rendered, where the
        // window's client area is on the screen, then "ready"; the test
        // grabs the screen and says "done".
        const std::string dir = o.windowTest;
        const std::string path = dir + (havePng() ? "/frame.png" : "/frame.bmp");
        if (!saved(savePicture(capture(*r, o.width, o.height), path))) return 1;
        int x = 0, y = 0;
        window->origin(x, y);
        if (std::FILE* g = std::fopen((dir + "/geometry.txt").c_str(), "w")) {
            std::fprintf(g, "%dx%d+%d+%d\n", o.width, o.height, x, y);
            std::fclose(g);
        }
        if (std::FILE* ready = std::fopen((dir + "/ready").c_str(), "w")) std::fclose(ready);
        const std::string doneFile = dir + "/done";
        for (int wait = 0; wait < 600; ++wait) {
            window->present(*r);
            if (!window->pump()) break;
            if (std::FILE* d = std::fopen(doneFile.c_str(), "r")) {
                std::fclose(d);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
    return 0;
}

// The README's pictures: the showcase at every depth (without the frame
// time, so that they are the same on every run) and one picture per family.
int renderGallery(const Options& o, ShowcaseAssets& assets) {
    const std::string ext = !o.format.empty() ? o.format : (havePng() ? "png" : "bmp");
    int failures = 0;
    for (int bpp : {8, 16, 24, 32}) {
        auto r = makeRender(o.width, o.height, bpp);
        if (!r) return 1;
        drawShowcase(*r, assets, ShowcaseFrame());
        const std::string path = o.gallery + "/showcase_" + std::to_string(bpp) + "bpp." + ext;
        failures += saved(savePicture(capture(*r, o.width, o.height), path)) ? 0 : 1;
    }
    for (const Family& fam : families()) {
        auto r = makeRender(kFamilyWidth, kFamilyHeight, 32);
        if (!r) return 1;
        fam.draw(*r, assets);
        const std::string path = o.gallery + "/" + fam.name + "." + ext;
        failures += saved(savePicture(capture(*r, kFamilyWidth, kFamilyHeight), path)) ? 0 : 1;
    }
    std::printf("gallery written to %s\n", o.gallery.c_str());
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (!parse(argc, argv, o)) return 2;

    // The knot's texture goes to a bitmap file first and is loaded back from
    // it, as a host would load its own pictures.
    ShowcaseAssets assets;
    std::string dir = !o.gallery.empty() ? o.gallery : !o.windowTest.empty() ? o.windowTest : directoryOf(o.out);
    if (o.out.empty() && dir == ".") {
        std::error_code ec;
        dir = std::filesystem::temp_directory_path(ec).string();
        if (ec) dir = ".";
    }
    const std::string error = roundTripTexture(assets, dir + "/" + assets.textureName);
    if (!error.empty()) std::fprintf(stderr, "texture kept in memory (%s)\n", error.c_str());

    if (!o.gallery.empty()) return renderGallery(o, assets);
    if (o.window) {
        std::string why;
        auto w = Window::open("kwrender showcase", 40, 30, o.width, o.height, why);
        if (!w) {
            std::fprintf(stderr, "%s\n", why.c_str());
            return 1;
        }
        return renderAnimation(o, assets, w.get());
    }
    if (o.frames > 0) return renderAnimation(o, assets, nullptr);
    Options one = o;
    if (one.out.empty()) one.out = havePng() ? "showcase.png" : "showcase.bmp";
    return renderPicture(one, assets);
}
