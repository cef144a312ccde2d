#pragma once

#include <filesystem>

namespace tavrin {

// The folder of the running executable; empty when it cannot be had.
std::filesystem::path ExecutableDirectory();

}  // namespace tavrin
