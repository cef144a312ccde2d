#include <windows.h>

#include <winternl.h>

#include "tests/support/small_volume.h"

namespace tavrin::test {

bool ReadFolderSpace(const std::filesystem::path& folder, std::uint64_t& available,
                     std::uint64_t& capacity) {
    const HANDLE handle =
        CreateFileW(folder.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    IO_STATUS_BLOCK status{};
    FILE_FS_FULL_SIZE_INFORMATION size{};
    const NTSTATUS read = NtQueryVolumeInformationFile(handle, &status, &size, sizeof(size),
                                                       FileFsFullSizeInformation);
    CloseHandle(handle);
    if (!NT_SUCCESS(read)) {
        return false;
    }
    const std::uint64_t unit =
        static_cast<std::uint64_t>(size.SectorsPerAllocationUnit) * size.BytesPerSector;
    available = static_cast<std::uint64_t>(size.CallerAvailableAllocationUnits.QuadPart) * unit;
    capacity = static_cast<std::uint64_t>(size.TotalAllocationUnits.QuadPart) * unit;
    return true;
}

}  // namespace tavrin::test
