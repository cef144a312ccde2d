// Windows side of the free-space check, asked of the folder handle the run holds: the call
// GetDiskFreeSpaceExW makes on a volume's root, here on the folder itself, so that a folder
// mounted from another volume counts as that volume. (Wine's GetDiskFreeSpaceExW answers for
// the drive's root whatever folder it is given; the handle answers for the folder.)
#include <windows.h>

#include <winternl.h>

#include <string>

#include "sync/free_space.h"

namespace tavrin {

bool ReadVolumeSpace(const NativeHandle& folder, std::wstring_view /*folderPath*/,
                     VolumeSpace& space) {
    const HANDLE handle = reinterpret_cast<HANDLE>(folder.Get());
    IO_STATUS_BLOCK status{};
    FILE_FS_FULL_SIZE_INFORMATION size{};
    if (!NT_SUCCESS(NtQueryVolumeInformationFile(handle, &status, &size, sizeof(size),
                                                 FileFsFullSizeInformation))) {
        return false;
    }
    // The caller's share counts the user's quota, as GetDiskFreeSpaceExW's first figure does.
    space.freeBytes = static_cast<std::uint64_t>(size.CallerAvailableAllocationUnits.QuadPart) *
                      size.SectorsPerAllocationUnit * size.BytesPerSector;
    // The volume's serial number tells volumes apart; the label that follows is not needed.
    alignas(FILE_FS_VOLUME_INFORMATION) char buffer[sizeof(FILE_FS_VOLUME_INFORMATION) + 512]{};
    const NTSTATUS read = NtQueryVolumeInformationFile(handle, &status, buffer, sizeof(buffer),
                                                       FileFsVolumeInformation);
    const auto* volume = reinterpret_cast<const FILE_FS_VOLUME_INFORMATION*>(buffer);
    space.volume = NT_SUCCESS(read) || read == static_cast<NTSTATUS>(0x80000005L)
                       ? std::to_string(volume->VolumeSerialNumber)
                       : std::string("?");
    return true;
}

}  // namespace tavrin
