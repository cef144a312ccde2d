#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <QFileInfo>
#include <QtTest>

#include "write_counter.h"

namespace tavrin::test {

struct WriteCounter::Watch {
    int descriptor = -1;
    ~Watch() {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
};

WriteCounter::WriteCounter(const QString& filePath)
    : fileName_(QFileInfo(filePath).fileName()), watch_(std::make_unique<Watch>()) {
    watch_->descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    const QByteArray folder = QFile::encodeName(QFileInfo(filePath).absolutePath());
    if (watch_->descriptor < 0 ||
        inotify_add_watch(watch_->descriptor, folder.constData(), IN_MOVED_TO) < 0) {
        qFatal("cannot watch %s", folder.constData());
    }
}

WriteCounter::~WriteCounter() = default;

int WriteCounter::Count() {
    alignas(inotify_event) char buffer[16384];
    for (;;) {
        const ssize_t length = read(watch_->descriptor, buffer, sizeof buffer);
        if (length <= 0) {
            return count_;
        }
        for (ssize_t at = 0; at < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            if (event->len > 0 && QString::fromUtf8(event->name) == fileName_) {
                ++count_;
            }
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
}

}  // namespace tavrin::test
