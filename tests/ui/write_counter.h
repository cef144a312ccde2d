#pragma once

#include <QString>

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
    QString fileName_;
    int descriptor_ = -1;
    int count_ = 0;
};

}  // namespace tavrin::test
