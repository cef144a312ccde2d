#pragma once

#include <filesystem>

namespace tavrin {

// The full path of the running executable (GetModuleFileNameW on Windows, /proc/self/exe on
// Linux); empty when it cannot be had.
std::filesystem::path ExecutablePath();

// The folder of the running executable; empty when it cannot be had.
std::filesystem::path ExecutableDirectory();

}  // namespace tavrin
