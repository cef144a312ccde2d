// Project passwords: asked for in a small modal dialog, remembered per project key.
#include <QCoreApplication>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QTimer>
#include <functional>

#include "app/native_window.h"
#include "i18n/translator.h"
#include "ui/tavrin_qt_window.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kDialogWidth = 420;
constexpr int kWaitRoundMs = 25;

// The password dialog. Its outcome is settled when it finishes, not when exec() returns: a
// second request for the same project can be waiting in an event loop nested inside this
// dialog's, and exec() cannot return before that request has its answer. An empty answer is
// refused in place, with the dialog staying open under the normal question.
class PasswordDialog : public QInputDialog {
public:
    using QInputDialog::QInputDialog;
    std::function<void()> onEmptyAnswer;
    std::function<void(bool answered, const QString& text)> onFinished;

    void done(int result) override {
        if (result == QDialog::Accepted && textValue().isEmpty()) {
            onEmptyAnswer();
            return;
        }
        onFinished(result == QDialog::Accepted, textValue());
        QInputDialog::done(result);
    }
};

}  // namespace

bool TavrinQtWindow::PromptProjectPassword(const ProjectEntry& entry, bool retry,
                                           QString& password) {
    const QString project = QString::fromStdString(entry.projectName);
    const QString key = ProjectKey(entry);
    if (!key.isEmpty()) {
        // Another request for the same project is being answered: take its outcome.
        while (passwordPromptsOpen_.contains(key)) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, kWaitRoundMs);
        }
        if (passwordPromptAnswered_.contains(key)) {
            if (!passwordPromptAnswered_.value(key)) {
                return false;
            }
            const QString answer = passwordPromptAnswers_.value(key);
            if (!answer.isEmpty()) {
                password = answer;
                return true;
            }
        }
    }
    passwordPromptsOpen_.insert(key);
    bool answered = false;
    QString answer;
    PasswordDialog dialog(this);
    dialog.setObjectName(QStringLiteral("ProjectPasswordDialog"));
    dialog.setWindowTitle(Text("dialog.project_password_title"));
    dialog.setLabelText(
        Text(retry ? "dialog.project_password_prompt_retry" : "dialog.project_password_prompt")
            .arg(project));
    dialog.setTextEchoMode(QLineEdit::Password);
    dialog.setOkButtonText(Text("button.ok"));
    dialog.setCancelButtonText(Text("button.cancel"));
    dialog.resize(kDialogWidth, dialog.sizeHint().height());
    dialog.onEmptyAnswer = [this, &dialog, project] {
        dialog.setLabelText(Text("dialog.project_password_prompt").arg(project));
        QMessageBox box(QMessageBox::Warning, Text("dialog.project_password_title"),
                        Text("error.project_password_required").arg(project), QMessageBox::Ok, this,
                        Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.exec();
    };
    dialog.onFinished = [this, key, &answered, &answer](bool ok, const QString& text) {
        answered = ok;
        answer = ok ? text : QString();
        passwordPromptAnswered_.insert(key, ok);
        if (ok) {
            passwordPromptAnswers_.insert(key, text);
        } else {
            passwordPromptAnswers_.remove(key);
        }
        passwordPromptsOpen_.remove(key);
    };
    QTimer::singleShot(0, &dialog, [&dialog] {
        SetNativeWindowIcons(static_cast<NativeWindowHandle>(dialog.winId()));
        dialog.raise();
        dialog.activateWindow();
    });
    dialog.exec();
    if (passwordPromptsOpen_.contains(key)) {
        // Closed without finishing (the window is being torn down): count it as cancelled.
        passwordPromptAnswered_.insert(key, false);
        passwordPromptsOpen_.remove(key);
    }
    if (!answered) {
        return false;
    }
    password = answer;
    return true;
}

void TavrinQtWindow::RememberProjectPassword(const QString& serverUrl, const QString& project,
                                             const QString& password) {
    controller_->RememberProjectPassword(serverUrl, project, password);
}

// Quitting answers every open prompt with Cancel.
void TavrinQtWindow::CancelOpenPrompts() {
    for (QInputDialog* dialog :
         findChildren<QInputDialog*>(QStringLiteral("ProjectPasswordDialog"))) {
        dialog->reject();
    }
}

}  // namespace tavrin
