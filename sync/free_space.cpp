#include "sync/free_space.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "sync/progress_format.h"

namespace tavrin {
namespace {

// A volume as found for a folder: its space and the path of the folder it was read at.
struct FoundVolume {
    VolumeSpace space;
    std::wstring folder;
};

// The volume of a folder of the tree, read at the nearest folder that exists; remembered for
// every folder on the way, so that a run of many files asks the system once per folder.
class VolumeFinder {
public:
    explicit VolumeFinder(TargetTree& tree) : tree_(tree) {}

    std::optional<FoundVolume> Find(std::uint32_t folder) {
        std::vector<std::uint32_t> asked;
        std::optional<FoundVolume> found;
        for (std::uint32_t at = folder;; at = tree_.Parent(at)) {
            if (const auto known = known_.find(at); known != known_.end()) {
                found = known->second;
                break;
            }
            asked.push_back(at);
            std::shared_ptr<const NativeHandle> handle;
            const FolderOpenResult opened = tree_.OpenFolder(at, false, handle);
            if (opened.outcome == FolderOutcome::kOpened) {
                FoundVolume volume{{}, tree_.LocalPath(at, {})};
                if (ReadVolumeSpace(*handle, volume.folder, volume.space)) {
                    found = std::move(volume);
                }
                break;
            }
            if (opened.outcome != FolderOutcome::kAbsent || at == TargetTree::kTop) {
                break;
            }
        }
        for (const std::uint32_t at : asked) {
            known_[at] = found;
        }
        return found;
    }

private:
    TargetTree& tree_;
    std::unordered_map<std::uint32_t, std::optional<FoundVolume>> known_;
};

}  // namespace

std::vector<VolumeNeed> GatherVolumeNeeds(TargetTree& tree,
                                          const std::vector<SyncWorkItem>& items) {
    VolumeFinder finder(tree);
    std::map<std::string, VolumeNeed> needs;
    const auto add = [&](const FoundVolume& found) -> VolumeNeed& {
        auto [at, added] = needs.try_emplace(found.space.volume);
        if (added) {
            at->second.folder = found.folder;
            at->second.freeBytes = found.space.freeBytes;
        }
        return at->second;
    };
    // The game folder first, so that its volume is named by the folder the player chose.
    if (const auto top = finder.Find(TargetTree::kTop)) {
        add(*top);
    }
    for (const SyncWorkItem& item : items) {
        const auto found = finder.Find(item.local.folder);
        if (!found) {
            continue;
        }
        VolumeNeed& need = add(*found);
        need.bytes += item.record.size;
        need.largest = std::max(need.largest, item.record.size);
    }
    std::vector<VolumeNeed> result;
    for (auto& [volume, need] : needs) {
        if (need.bytes > 0) {
            result.push_back(std::move(need));
        }
    }
    return result;
}

bool CheckFreeSpace(TargetTree& tree, const std::vector<SyncWorkItem>& items,
                    std::wstring& errorText) {
    for (const VolumeNeed& need : GatherVolumeNeeds(tree, items)) {
        if (need.Needed() > need.freeBytes) {
            errorText = FillPlaceholders(
                TrWide("error.not_enough_space"),
                {need.folder, FormatBytes(need.Needed()), FormatBytes(need.freeBytes)});
            return false;
        }
    }
    return true;
}

}  // namespace tavrin
