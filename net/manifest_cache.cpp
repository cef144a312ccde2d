#include "net/manifest_cache.h"

#include <fstream>
#include <iterator>

#include "app/fnv1a.h"
#include "base/trim_whitespace.h"
#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"

namespace tavrin {
namespace {

// Copies a folder tree, keeping files that already exist; errors are ignored.
void CopyTreeKeepingExisting(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::error_code ec;
    std::filesystem::create_directories(to.parent_path(), ec);
    std::filesystem::copy(
        from, to,
        std::filesystem::copy_options::recursive | std::filesystem::copy_options::skip_existing,
        ec);
}

bool IsFolder(const std::filesystem::path& path) {
    std::error_code ec;
    return std::filesystem::is_directory(path, ec);
}

std::string ValidatorLine(std::wstring_view value) {
    std::wstring text = TrimWhitespace(value);
    std::erase_if(text, [](wchar_t c) { return c == L'\r' || c == L'\n'; });
    return WideToUtf8(text);
}

std::filesystem::path CacheFile(std::wstring_view serverText, std::string_view project,
                                const char* extension) {
    return ManifestCacheDirectory() / (ManifestCacheStem(serverText, project) + extension);
}

bool WriteWhole(const std::filesystem::path& path, std::string_view bytes, std::string_view openKey,
                std::string_view incompleteKey, std::wstring& errorText) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out.is_open()) {
        errorText = FillPlaceholders(TrWide(openKey), {PathToWide(path)});
        return false;
    }
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.flush();
    if (!out.good()) {
        errorText = FillPlaceholders(TrWide(incompleteKey), {PathToWide(path)});
        return false;
    }
    return true;
}

}  // namespace

std::filesystem::path ManifestCacheDirectoryFor(const DataLocations& locations) {
    std::filesystem::path folder = AppDataDirectoryFor(locations) / "cache" / "manifests";
    if (!IsFolder(folder)) {
        const auto older = locations.localAppData / "Ostmere" / "Tavrin" / "cache" / "manifests";
        if (locations.dataDirectoryOverride.empty() && !locations.localAppData.empty() &&
            IsFolder(older)) {
            CopyTreeKeepingExisting(older, folder);
        }
        const auto besideProgram = locations.executableDirectory / "cache" / "manifests";
        if (!IsFolder(folder) && !locations.executableDirectory.empty() &&
            IsFolder(besideProgram) && besideProgram != folder) {
            CopyTreeKeepingExisting(besideProgram, folder);
        }
    }
    return folder;
}

std::filesystem::path ManifestCacheDirectory() {
    return ManifestCacheDirectoryFor(SystemDataLocations());
}

std::string ManifestCacheStem(std::wstring_view serverText, std::string_view project) {
    return Fnv1a64Hex(WideToUtf8(serverText) + "|" + std::string(project));
}

CachedManifest ReadManifestCache(std::wstring_view serverText, std::string_view project) {
    CachedManifest cached;
    {
        std::ifstream body(CacheFile(serverText, project, ".json"), std::ios::binary);
        cached.body.assign(std::istreambuf_iterator<char>(body), std::istreambuf_iterator<char>());
    }
    std::ifstream meta(CacheFile(serverText, project, ".meta"), std::ios::binary);
    std::string line;
    while (std::getline(meta, line)) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::string key = line.substr(0, equals);
        const std::wstring value = TrimWhitespace(Utf8ToWide(line.substr(equals + 1)));
        if (key == "etag") {
            cached.etag = value;
        } else if (key == "last_modified") {
            cached.lastModified = value;
        }
    }
    return cached;
}

bool WriteManifestCache(std::wstring_view serverText, std::string_view project,
                        std::string_view body, std::wstring_view etag,
                        std::wstring_view lastModified, std::wstring& errorText) {
    const std::filesystem::path folder = ManifestCacheDirectory();
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec) {
        errorText = FillPlaceholders(TrWide("error.manifest_cache_dir_create_failed"),
                                     {Utf8ToWide(ec.message())});
        return false;
    }
    const std::string stem = ManifestCacheStem(serverText, project);
    const std::string meta =
        "etag=" + ValidatorLine(etag) + "\nlast_modified=" + ValidatorLine(lastModified) + "\n";
    return WriteWhole(folder / (stem + ".json"), body, "error.manifest_cache_write_failed",
                      "error.manifest_cache_incomplete_write_failed", errorText) &&
           WriteWhole(folder / (stem + ".meta"), meta, "error.manifest_meta_write_failed",
                      "error.manifest_meta_incomplete_write_failed", errorText);
}

std::vector<std::string> ReadDroppedRecord(std::wstring_view serverText, std::string_view project) {
    std::ifstream in(CacheFile(serverText, project, ".dropped"), std::ios::binary);
    std::vector<std::string> paths;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty()) {
            paths.push_back(line);
        }
    }
    return paths;
}

bool WriteDroppedRecord(std::wstring_view serverText, std::string_view project,
                        const std::vector<std::string>& paths, std::wstring& errorText) {
    const std::filesystem::path path = CacheFile(serverText, project, ".dropped");
    if (paths.empty()) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        return true;
    }
    std::error_code ec;
    std::filesystem::create_directories(path.parent_path(), ec);
    std::string body;
    for (const std::string& line : paths) {
        body += line + "\n";
    }
    return WriteWhole(path, body, "error.manifest_cache_write_failed",
                      "error.manifest_cache_incomplete_write_failed", errorText);
}

}  // namespace tavrin
