#include "modal_answerer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QInputDialog>
#include <QMessageBox>
#include <QPointer>

namespace tavrin::test {

ModalAnswerer::ModalAnswerer(QList<Answer> answers) : answers_(std::move(answers)) {
    timer_.setInterval(30);
    QObject::connect(&timer_, &QTimer::timeout, [this] { AnswerActiveModal(); });
    timer_.start();
}

void ModalAnswerer::AnswerActiveModal() {
    if (answering_) {
        return;
    }
    QWidget* modal = QApplication::activeModalWidget();
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
        messages << box->text();
        titles << box->windowTitle();
        if (!buttons.isEmpty() && box->button(buttons.constFirst()) != nullptr) {
            QAbstractButton* button = box->button(buttons.takeFirst());
            Press(box, [button] { button->click(); });
            return;
        }
        Press(box, [box] { box->accept(); });
        return;
    }
    auto* dialog = qobject_cast<QInputDialog*>(modal);
    if (dialog == nullptr || !dialog->isVisible() || (ready_ && !ready_())) {
        return;
    }
    questions << dialog->labelText();
    const Answer answer = answers_.size() > 1 ? answers_.takeFirst() : answers_.value(0);
    if (!answer.has_value()) {
        Press(dialog, [dialog] { dialog->reject(); });
        return;
    }
    dialog->setTextValue(*answer);
    Press(dialog, [dialog] { dialog->accept(); });
}

// The press runs outside this timer's slot: a box it opens runs a nested loop, and a timer
// whose slot is still running does not fire inside it.
void ModalAnswerer::Press(QWidget* widget, std::function<void()> press) {
    answering_ = true;
    QTimer::singleShot(0, &timer_, [this, target = QPointer<QWidget>(widget), press] {
        answering_ = false;
        if (target != nullptr) {
            press();
        }
    });
}

}  // namespace tavrin::test
