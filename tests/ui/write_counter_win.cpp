// Windows side: ReadDirectoryChangesW on the file's folder, polled without waiting.
#include <windows.h>

#include <QDir>
#include <QFileInfo>
#include <QtTest>

#include "write_counter.h"

namespace tavrin::test {

struct WriteCounter::Watch {
    HANDLE folder = INVALID_HANDLE_VALUE;
    OVERLAPPED overlapped{};
    alignas(DWORD) char buffer[16384];

    bool Arm() {
        return ReadDirectoryChangesW(folder, buffer, sizeof buffer, FALSE,
                                     FILE_NOTIFY_CHANGE_FILE_NAME, nullptr, &overlapped,
                                     nullptr) != FALSE;
    }

    ~Watch() {
        if (folder != INVALID_HANDLE_VALUE) {
            CancelIoEx(folder, &overlapped);
            DWORD ignored = 0;
            GetOverlappedResult(folder, &overlapped, &ignored, TRUE);
            CloseHandle(folder);
        }
        if (overlapped.hEvent != nullptr) {
            CloseHandle(overlapped.hEvent);
        }
    }
};

WriteCounter::WriteCounter(const QString& filePath)
    : fileName_(QFileInfo(filePath).fileName()), watch_(std::make_unique<Watch>()) {
    const std::wstring folder =
        QDir::toNativeSeparators(QFileInfo(filePath).absolutePath()).toStdWString();
    watch_->folder = CreateFileW(
        folder.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    watch_->overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (watch_->folder == INVALID_HANDLE_VALUE || watch_->overlapped.hEvent == nullptr ||
        !watch_->Arm()) {
        qFatal("cannot watch %ls", folder.c_str());
    }
}

WriteCounter::~WriteCounter() = default;

int WriteCounter::Count() {
    for (;;) {
        DWORD length = 0;
        if (!GetOverlappedResult(watch_->folder, &watch_->overlapped, &length, FALSE)) {
            return count_;  // nothing more queued yet
        }
        for (DWORD at = 0; length > 0;) {
            const auto* entry =
                reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(watch_->buffer + at);
            const QString name = QString::fromWCharArray(
                entry->FileName, static_cast<qsizetype>(entry->FileNameLength / sizeof(WCHAR)));
            // A new version renamed into place, as QSaveFile commits it.
            if (entry->Action == FILE_ACTION_RENAMED_NEW_NAME && name == fileName_) {
                ++count_;
            }
            if (entry->NextEntryOffset == 0) {
                break;
            }
            at += entry->NextEntryOffset;
        }
        ResetEvent(watch_->overlapped.hEvent);
        if (!watch_->Arm()) {
            return count_;
        }
    }
}

}  // namespace tavrin::test
