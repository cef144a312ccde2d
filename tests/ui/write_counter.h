#pragma once

#include <QString>
#include <memory>

namespace tavrin::test {

// Counts the times a file is written to disk from now on, by watching its folder for a new
// version renamed into place (QSettings writes through a temporary file; it also opens the
// file itself for reading and writing to lock it, so a close counts nothing).
class WriteCounter {
public:
    explicit WriteCounter(const QString& filePath);
    ~WriteCounter();
    WriteCounter(const WriteCounter&) = delete;
    WriteCounter& operator=(const WriteCounter&) = delete;

    // The writes seen so far (reads what the system has queued, without waiting).
    int Count();

private:
    struct Watch;  // the system's folder watch (inotify, or ReadDirectoryChangesW)
    QString fileName_;
    std::unique_ptr<Watch> watch_;
    int count_ = 0;
};

}  // namespace tavrin::test
