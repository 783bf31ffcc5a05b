// kwrimage: look at and convert bitmap files with the kwrender image library.
//
//   kwrimage info FILE
//   kwrimage convert IN OUT [--bpp 1|4|8|16|24|32] [--size WxH]
//
// Exits 0 on success; on failure prints the error text on standard error
// and exits non-zero.
#include <cstdio>
#include <cstring>

#include "KWRImage.h"

namespace {

int usage() {
    std::fputs("usage: kwrimage info FILE\n"
               "       kwrimage convert IN OUT [--bpp 1|4|8|16|24|32] [--size WxH]\n",
               stderr);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return usage();
    KWRImage image;
    if (std::strcmp(argv[1], "info") == 0 && argc == 3) {
        if (!image.kwrLoad(argv[2])) {
            std::fprintf(stderr, "kwrimage: %s: %s\n", argv[2], image.kwrGetErrorText());
            return 1;
        }
        return 0;
    }
    return usage();
}
