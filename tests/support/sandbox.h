#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tavrin::test {

// A fresh folder under the system's temporary folder, removed with everything in it when the
// test ends. Tests write nowhere else.
class Sandbox {
public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    const std::filesystem::path& Root() const { return root_; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const {
        return root_ / relative;
    }

private:
    std::filesystem::path root_;
};

// Whole-file helpers for test data (bytes as they are, no line-ending translation).
void WriteFile(const std::filesystem::path& path, std::string_view bytes);
std::string ReadFile(const std::filesystem::path& path);

// Sets an environment variable for the life of the object and restores it afterwards.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const std::filesystem::path& value);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string name_;
    bool hadValue_ = false;
    std::wstring previous_;
};

}  // namespace tavrin::test

namespace tavrin::test {
// A relative path given with "/" as the platform's path.
inline std::filesystem::path Utf8Path(std::string_view relative) {
    return std::filesystem::path(std::u8string(relative.begin(), relative.end())).make_preferred();
}
}  // namespace tavrin::test
