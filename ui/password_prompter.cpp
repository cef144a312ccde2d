#include "ui/password_prompter.h"

#include <QCoreApplication>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QTimer>
#include <functional>
#include <optional>

#include "app/native_window.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kDialogWidth = 420;
constexpr int kWaitRoundMs = 25;

// The password dialog. Its outcome is settled when it finishes, not when exec() returns: a
// second request for the same project can be waiting in an event loop nested inside this
// dialog's, and exec() cannot return before that request has its answer. An empty answer is
// refused in place, with the dialog staying open under the normal question.
class PasswordDialog final : public QInputDialog {
    Q_DISABLE_COPY_MOVE(PasswordDialog)

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

// The question's texts in the current language, its width, and the program's icons once it
// has a native window, raised above whatever the player is doing.
void Dress(PasswordDialog& dialog, const QString& project, bool retry) {
    dialog.setObjectName(QStringLiteral("ProjectPasswordDialog"));
    dialog.setWindowTitle(Text("dialog.project_password_title"));
    dialog.setLabelText(
        Text(retry ? "dialog.project_password_prompt_retry" : "dialog.project_password_prompt")
            .arg(project));
    dialog.setTextEchoMode(QLineEdit::Password);
    dialog.setOkButtonText(Text("button.ok"));
    dialog.setCancelButtonText(Text("button.cancel"));
    dialog.resize(kDialogWidth, dialog.sizeHint().height());
    QTimer::singleShot(0, &dialog, [&dialog] {
        SetNativeWindowIcons(static_cast<NativeWindowHandle>(dialog.winId()));
        dialog.raise();
        dialog.activateWindow();
    });
}

}  // namespace

PasswordPrompter::PasswordPrompter(QWidget* window) : QObject(window), window_(window) {}

bool PasswordPrompter::Ask(const ProjectEntry& entry, bool retry, QString& password) {
    const QString project = QString::fromStdString(entry.projectName);
    const QString key = ProjectKey(entry);
    if (const std::optional<bool> earlier = EarlierOutcome(key, password)) {
        return *earlier;
    }
    open_.insert(key);
    bool answered = false;
    QString answer;
    PasswordDialog dialog(window_);
    Dress(dialog, project, retry);
    dialog.onEmptyAnswer = [this, &dialog, project] {
        dialog.setLabelText(Text("dialog.project_password_prompt").arg(project));
        QMessageBox box(QMessageBox::Warning, Text("dialog.project_password_title"),
                        Text("error.project_password_required").arg(project), QMessageBox::Ok,
                        window_, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.exec();
    };
    dialog.onFinished = [this, key, &answered, &answer](bool ok, const QString& text) {
        answered = ok;
        answer = ok ? text : QString();
        answered_.insert(key, ok);
        if (ok) {
            answers_.insert(key, text);
        } else {
            answers_.remove(key);
        }
        open_.remove(key);
    };
    dialog.exec();
    if (open_.contains(key)) {
        // Closed without finishing (the window is being torn down): count it as cancelled.
        answered_.insert(key, false);
        open_.remove(key);
    }
    if (answered) {
        password = answer;
    }
    return answered;
}

// Another request for the same project is being answered: its outcome, once it is in, settles
// this one too (a cancel, or a password given); nothing when this one must ask.
std::optional<bool> PasswordPrompter::EarlierOutcome(const QString& key, QString& password) {
    if (key.isEmpty()) {
        return std::nullopt;
    }
    while (open_.contains(key)) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, kWaitRoundMs);
    }
    if (!answered_.contains(key)) {
        return std::nullopt;
    }
    if (!answered_.value(key)) {
        return false;
    }
    const QString answer = answers_.value(key);
    if (answer.isEmpty()) {
        return std::nullopt;
    }
    password = answer;
    return true;
}

void PasswordPrompter::ForgetOutcomes() {
    answered_.clear();
    answers_.clear();
}

// Quitting answers every open prompt with Cancel.
void PasswordPrompter::CancelOpen() {
    for (QInputDialog* dialog :
         window_->findChildren<QInputDialog*>(QStringLiteral("ProjectPasswordDialog"))) {
        dialog->reject();
    }
}

}  // namespace tavrin
