// Writes the fuzzer's seed corpus into the first directory given: one file
// of every depth, header size, compression and mask layout, and every
// crafted hostile file.  Creates every directory given.
#include <cstdio>
#include <filesystem>

#include "../image/bmp_craft.h"

namespace {

bool write(const std::string& path, const bmpcraft::Bytes& bytes) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s SEED_DIR [OTHER_DIR...]\n", argv[0]);
        return 2;
    }
    std::error_code error;
    for (int i = 1; i < argc; ++i) std::filesystem::create_directories(argv[i], error);
    const std::string dir = argv[1];
    int files = 0;
    for (const bmpcraft::Recipe& s : bmpcraft::seedRecipes())
        files += write(dir + "/seed_" + bmpcraft::name(s) + ".bmp", bmpcraft::build(s)) ? 1 : -1000;
    for (const bmpcraft::Hostile& h : bmpcraft::hostileFiles())
        files += write(dir + "/hostile_" + h.name + ".bmp", h.file) ? 1 : -1000;
    if (files < 0) {
        std::fprintf(stderr, "cannot write the corpus to %s\n", dir.c_str());
        return 1;
    }
    std::printf("%d files in %s\n", files, dir.c_str());
    return 0;
}
