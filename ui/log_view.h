#pragma once

#include <QWidget>

class QLabel;
class QTextEdit;

namespace tavrin {

// The log section: one time-stamped line per event, bold for what the player must see.
class LogView final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LogView)
public:
    explicit LogView(QWidget* parent = nullptr);

    void Retranslate();
    // A line starting with the engine's highlight prefix is shown bold, without the prefix.
    void Append(const QString& text, bool bold);

private:
    QLabel* title_ = nullptr;
    QTextEdit* view_ = nullptr;
};

}  // namespace tavrin
