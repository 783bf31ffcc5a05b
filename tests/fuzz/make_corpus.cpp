// Writes the fuzzer's seed corpus into the first directory given: one file
// of every depth, header size, compression and mask layout, and every
// crafted hostile file.  Creates every directory given.
#include <cstdio>
#include <filesystem>

#include "../image/bmp_craft.h"

int main(int argc, char** argv) {
    std::error_code error;
    for (int i = 1; i < argc; ++i) std::filesystem::create_directories(argv[i], error);
    const std::string dir = argc > 1 ? argv[1] : "";
    bool ok = argc > 1;
    for (const bmpcraft::Recipe& s : bmpcraft::seedRecipes())
        ok = ok && bmpcraft::writeFile(dir + "/seed_" + bmpcraft::name(s) + ".bmp", bmpcraft::build(s));
    for (const bmpcraft::Hostile& h : bmpcraft::hostileFiles())
        ok = ok && bmpcraft::writeFile(dir + "/hostile_" + h.name + ".bmp", h.file);
    if (!ok) std::fprintf(stderr, "usage: %s SEED_DIR [OTHER_DIR...]; the corpus could not be written\n", argv[0]);
    return ok ? 0 : 1;
}
