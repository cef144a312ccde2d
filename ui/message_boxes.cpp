#include "ui/message_boxes.h"

#include <QMessageBox>

#include "widgets/ui_text.h"

namespace tavrin {

void ShowMessage(QWidget* parent, int icon, const char* titleKey, const QString& text) {
    QMessageBox box(static_cast<QMessageBox::Icon>(icon), Text(titleKey), text, QMessageBox::Ok,
                    parent, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.exec();
}

bool AskSyncWhileGameRuns(QWidget* parent) {
    QMessageBox box(QMessageBox::Question, Text("title.sync"), Text("dialog.game_running_question"),
                    QMessageBox::Yes | QMessageBox::No, parent,
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.setObjectName(QStringLiteral("GameRunningQuestion"));
    box.setDefaultButton(QMessageBox::No);
    box.setEscapeButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}

}  // namespace tavrin
