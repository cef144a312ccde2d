#pragma once

#include <QMessageBox>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <optional>

namespace tavrin::test {

// Answers the window's modal boxes as a person would, so that no test leaves one hanging:
// message boxes with OK, password dialogs with the planned answers in turn (the last one
// repeats; no value presses Cancel). It looks every 30 ms, also from inside nested loops.
class ModalAnswerer {
public:
    using Answer = std::optional<QString>;
    explicit ModalAnswerer(QList<Answer> answers = {QString()});

    // Leaves password dialogs open until `ready` holds.
    void HoldDialogsUntil(std::function<bool()> ready) { ready_ = std::move(ready); }

    // Buttons to press on boxes that offer them, in turn (a question's Yes or No); a box that
    // offers none of the next one is answered with OK.
    QList<QMessageBox::StandardButton> buttons;

    QStringList messages;   // texts of the message boxes answered, in order
    QStringList titles;     // their titles
    QStringList questions;  // labels of the password dialogs answered, in order

private:
    void AnswerActiveModal();
    void Press(QWidget* widget, std::function<void()> press);
    QList<Answer> answers_;
    std::function<bool()> ready_;
    bool answering_ = false;
    QTimer timer_;
};

}  // namespace tavrin::test
