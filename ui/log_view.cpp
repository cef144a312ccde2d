#include "ui/log_view.h"

#include <QLabel>
#include <QTextCursor>
#include <QTextEdit>
#include <QTime>
#include <QVBoxLayout>

#include "sync/progress.h"
#include "widgets/section_parts.h"
#include "widgets/ui_text.h"

namespace tavrin {

LogView::LogView(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    title_ = MakeLabel(QStringLiteral("SectionTitle"), this);
    view_ = new QTextEdit(this);
    view_->setObjectName(QStringLiteral("LogView"));
    view_->setReadOnly(true);
    QFont font(QStringLiteral("Consolas"));
    font.setStyleHint(QFont::Monospace);
    font.setPointSizeF(9.2);
    view_->setFont(font);
    view_->setMinimumHeight(96);
    column->addWidget(title_);
    column->addWidget(view_, 1);
}

void LogView::Retranslate() {
    title_->setText(Text("section.log"));
}

void LogView::Append(const QString& text, bool bold) {
    QString line = text;
    if (line.startsWith(QString::fromStdWString(std::wstring(kHighlightPrefix)))) {
        line = line.mid(static_cast<qsizetype>(kHighlightPrefix.size()));
        bold = true;
    }
    const QTime now = QTime::currentTime();
    const QString stamped = QStringLiteral("[%1:%2:%3] ")
                                .arg(now.hour(), 2, 10, QLatin1Char('0'))
                                .arg(now.minute(), 2, 10, QLatin1Char('0'))
                                .arg(now.second(), 2, 10, QLatin1Char('0')) +
                            line;
    QTextCursor cursor = view_->textCursor();
    cursor.movePosition(QTextCursor::End);
    if (view_->document()->characterCount() > 1) {
        cursor.insertBlock();
    }
    QTextCharFormat format;
    format.setFont(view_->font());
    format.setFontWeight(bold ? QFont::Bold : QFont::Normal);
    cursor.insertText(stamped, format);
    cursor.movePosition(QTextCursor::End);
    view_->setTextCursor(cursor);
    view_->ensureCursorVisible();
}

}  // namespace tavrin
