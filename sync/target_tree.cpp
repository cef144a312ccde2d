#include "sync/target_tree.h"

#include "base/trim_whitespace.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/system_error.h"
#include "sync/path_safety.h"

namespace tavrin {

bool TargetTree::Open(std::wstring_view targetFolder, std::wstring& errorText) {
    std::lock_guard lock(mutex_);
    nodes_.clear();
    index_.clear();
    openCount_ = 0;
    topPath_ = NormalizePath(TrimWhitespace(targetFolder));
    if (topPath_.empty()) {
        errorText = TrWide("error.invalid_target_folder");
        return false;
    }
    auto top = std::make_shared<OpenedFolder>();
    const FolderOpenResult opened = OpenTopFolder(topPath_, top->handle);
    switch (opened.outcome) {
        case FolderOutcome::kOpened:
            break;
        case FolderOutcome::kLink:
            errorText = TrWide("error.invalid_target_folder");
            return false;
        case FolderOutcome::kFailed:
            errorText = FormatSystemError("error.invalid_target_folder", opened.errorCode);
            return false;
        default:
            errorText = TrWide("error.invalid_target_folder");
            return false;
    }
    nodes_.push_back({kTop, std::string(), std::move(top)});
    return true;
}

std::uint32_t TargetTree::Child(std::uint32_t parent, std::string_view name) {
    std::string key = std::to_string(parent);
    key += '/';
    key += WideToUtf8(PathCaseKey(Utf8ToWide(name)));
    std::lock_guard lock(mutex_);
    const auto [it, added] = index_.try_emplace(std::move(key), 0);
    if (added) {
        it->second = static_cast<std::uint32_t>(nodes_.size());
        nodes_.push_back({parent, std::string(name), nullptr});
    }
    return it->second;
}

FolderOpenResult TargetTree::OpenFolder(std::uint32_t index, bool create,
                                        std::shared_ptr<const NativeHandle>& folder) {
    std::lock_guard lock(mutex_);
    if (index >= nodes_.size()) {
        return {FolderOutcome::kFailed, 0};
    }
    // Walk up to the nearest folder that is open (the top always is), then open down.
    std::vector<std::uint32_t> missing;
    std::uint32_t at = index;
    while (!nodes_[at].open) {
        missing.push_back(at);
        at = nodes_[at].parent;
    }
    std::shared_ptr<OpenedFolder> base = nodes_[at].open;
    for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
        auto child = std::make_shared<OpenedFolder>();
        const FolderOpenResult opened =
            OpenChildFolder(base->handle, nodes_[*it].name, create, child->handle);
        if (opened.outcome != FolderOutcome::kOpened) {
            CloseUnusedFolders();
            return opened;
        }
        if (kOpenFoldersHoldTheirParents) {
            child->parent = base;
        }
        nodes_[*it].open = child;
        ++openCount_;
        base = std::move(child);
    }
    folder = std::shared_ptr<const NativeHandle>(base, &base->handle);
    CloseUnusedFolders();
    return {FolderOutcome::kOpened, 0};
}

void TargetTree::CloseUnusedFolders() {
    // A folder nobody holds (no thread, no open child) is closed; it is opened again from
    // its parent, and checked again, when it is needed next.
    const std::size_t count = nodes_.size();
    for (std::size_t step = 0; step < count && openCount_ > mostOpen_; ++step) {
        if (sweepFrom_ >= count) {
            sweepFrom_ = 1;
        }
        Node& node = nodes_[sweepFrom_++];
        if (node.open && node.open.use_count() == 1) {
            node.open.reset();
            --openCount_;
        }
    }
}

std::wstring TargetTree::LocalPath(std::uint32_t folder, std::string_view leaf) const {
    std::vector<std::string> names;
    {
        std::lock_guard lock(mutex_);
        for (std::uint32_t at = folder; at != kTop && at < nodes_.size(); at = nodes_[at].parent) {
            names.push_back(nodes_[at].name);
        }
    }
    if (!leaf.empty()) {
        names.insert(names.begin(), std::string(leaf));
    }
    std::wstring path = topPath_;
    for (auto it = names.rbegin(); it != names.rend(); ++it) {
        if (path.empty() || path.back() != kPathSeparator) {
            path += kPathSeparator;
        }
        path += Utf8ToWide(*it);
    }
    return path;
}

std::uint32_t TargetTree::Parent(std::uint32_t index) const {
    std::lock_guard lock(mutex_);
    return index < nodes_.size() ? nodes_[index].parent : kTop;
}

bool TargetTree::IsOpen() const {
    std::lock_guard lock(mutex_);
    return !nodes_.empty();
}

std::size_t TargetTree::OpenFolderCount() const {
    std::lock_guard lock(mutex_);
    return openCount_;
}

std::size_t TargetTree::FolderCount() const {
    std::lock_guard lock(mutex_);
    return nodes_.size();
}

}  // namespace tavrin
