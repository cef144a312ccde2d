#include "tests/support/small_volume.h"

#include <cstdlib>

namespace tavrin::test {
namespace {

constexpr std::uintmax_t kLargestSmallVolume = 16ULL * 1024 * 1024;

// The suite names the volumes by their Linux path; a Windows build under Wine sees / as Z:.
std::filesystem::path AsLocalPath(std::string path) {
#ifdef _WIN32
    if (!path.empty() && path.front() == '/') {
        path = "Z:" + path;
    }
#endif
    return std::filesystem::path(path).make_preferred();
}

}  // namespace

bool FindSmallVolume(const std::string& name, std::filesystem::path& volume, std::string& why) {
    const char* root = std::getenv("TAVRIN_SMALL_VOLUMES");
    if (root == nullptr || *root == '\0') {
        why = "TAVRIN_SMALL_VOLUMES is not set (the suite mounts the small volumes)";
        return false;
    }
    volume = AsLocalPath(root) / name;
    std::uint64_t available = 0;
    std::uint64_t capacity = 0;
    if (!ReadFolderSpace(volume, available, capacity)) {
        why = "no small volume at " + volume.string() + " (see the output of small_volumes_mount)";
        return false;
    }
    if (capacity > kLargestSmallVolume) {
        why = volume.string() +
              " is not a small volume of its own (mounting a tmpfs there failed; see the output "
              "of small_volumes_mount)";
        return false;
    }
    return true;
}

}  // namespace tavrin::test
