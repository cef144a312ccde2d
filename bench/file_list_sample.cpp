#include "file_list_sample.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace tavrin::bench {
namespace {

// splitmix64: small, fast and the same on every machine.
struct Random {
    std::uint64_t state;
    std::uint64_t Next() {
        std::uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }
    std::size_t Below(std::size_t n) { return static_cast<std::size_t>(Next() % n); }
};

constexpr std::array<const char*, 6> kRoots = {"content/cars",     "content/tracks", "apps/python",
                                               "extension/config", "content/fonts",  "system/cfg"};
constexpr std::array<const char*, 8> kNames = {"ks_ferrari_488_gt3",
                                               "rss_formula_hybrid",
                                               "spa_francorchamps",
                                               "nordschleife",
                                               "mx5_cup",
                                               "bmw_m4_gt4",
                                               "imola",
                                               "caf\\u00e9_racer"};
constexpr std::array<const char*, 6> kFolders = {"skins/red_01", "data",      "sfx",
                                                 "ui",           "extension", "skins\\/blue"};
constexpr std::array<const char*, 7> kFiles = {"livery.png",  "car.kn5",     "data.acd",
                                               "preview.jpg", "ui_car.json", "ext_config.ini",
                                               "GUIDs.txt"};

}  // namespace

std::string MakeFileListJson(std::size_t entries) {
    Random random{0x7461767269ULL};
    std::string json;
    json.reserve(entries * 220);
    json += "[\n";
    char line[512];
    for (std::size_t i = 0; i < entries; ++i) {
        char hash[65];
        for (int part = 0; part < 4; ++part) {
            std::snprintf(hash + part * 16, 17, "%016llx",
                          static_cast<unsigned long long>(random.Next()));
        }
        const unsigned long long size = random.Below(64ULL << 20);
        const double mtime = 1500000000.0 + static_cast<double>(random.Below(200000000)) +
                             static_cast<double>(random.Below(1000000)) / 1e6;
        std::snprintf(line, sizeof line,
                      "  {\"relative_path\": \"%s/%s_%zu/%s/%zu_%s\", \"size\": %llu, "
                      "\"mtime\": %.6f, \"hash\": \"%s\"}%s\n",
                      kRoots[random.Below(kRoots.size())], kNames[random.Below(kNames.size())],
                      i / 50, kFolders[random.Below(kFolders.size())], i,
                      kFiles[random.Below(kFiles.size())], size, mtime, hash,
                      i + 1 < entries ? "," : "");
        json += line;
    }
    json += "]\n";
    return json;
}

}  // namespace tavrin::bench
