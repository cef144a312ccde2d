#include "sync/progress.h"

namespace tavrin {

void ProgressSinks::Log(std::wstring_view text, bool highlighted) const {
    if (!log) {
        return;
    }
    log(highlighted ? std::wstring(kHighlightPrefix) + std::wstring(text) : std::wstring(text));
}

void ProgressSinks::Report(const ProgressMessage& message) const {
    if (progress) {
        progress(message);
    }
}

}  // namespace tavrin
