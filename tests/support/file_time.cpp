#include "tests/support/file_time.h"

#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "sync/folder_handle.h"

namespace tavrin::test {

void SetLocalFileTime(std::wstring_view path, double serverTime) {
    // Through the engine's own call, on the file's folder.
    const std::filesystem::path file = WideToPath(path);
    NativeHandle folder;
    if (OpenTopFolder(PathToWide(file.parent_path()), folder).outcome == FolderOutcome::kOpened) {
        SetFileTimeAt(folder, PathToUtf8(file.filename()), serverTime);
    }
}

}  // namespace tavrin::test
