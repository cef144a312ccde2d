#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <random>

namespace tavrin::test {

Sandbox::Sandbox() {
    std::random_device device;
    const auto base = std::filesystem::temp_directory_path();
    for (int attempt = 0; attempt < 100; ++attempt) {
        const auto candidate = base / ("tavrin-test-" + std::to_string(device()));
        std::error_code ec;
        if (std::filesystem::create_directory(candidate, ec)) {
            root_ = std::filesystem::canonical(candidate);
            return;
        }
    }
    ADD_FAILURE() << "could not create a sandbox folder under " << base;
}

Sandbox::~Sandbox() {
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
}

void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(out.good()) << "could not write " << path;
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace tavrin::test
