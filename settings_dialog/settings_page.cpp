#include "settings_dialog/settings_page.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QVBoxLayout>

#include "widgets/ui_text.h"

namespace tavrin {

SettingsPage::SettingsPage(const char* objectName, const char* titleKey)
    : titleKey_(titleKey), layout_(new QVBoxLayout(this)) {
    setObjectName(QString::fromLatin1(objectName));
    setAttribute(Qt::WA_StyledBackground, true);  // lets the style sheet paint it
    layout_->setContentsMargins(12, 10, 12, 10);
    layout_->setSpacing(6);
}

void SettingsPage::Fill(const SettingsDialogValues& /*values*/) {}

void SettingsPage::Collect(SettingsDialogValues& /*values*/) const {}

QString SettingsPage::Title() const {
    return titleKey_ != nullptr ? Text(titleKey_) : QString();
}

QLabel* SettingsPage::TranslatedLabel(const char* key, const char* objectName) {
    auto* label = new QLabel(this);
    if (objectName != nullptr) {
        label->setObjectName(QString::fromLatin1(objectName));
    }
    label->setWordWrap(true);
    Translate(label, key);
    return label;
}

QCheckBox* SettingsPage::TranslatedCheck(const char* objectName, const char* key) {
    auto* check = new QCheckBox(this);
    check->setObjectName(QString::fromLatin1(objectName));
    Translate(check, key);
    layout_->addWidget(check);
    return check;
}

void SettingsPage::Translate(QObject* target, const char* key) {
    texts_.push_back({target, key});
}

void SettingsPage::Retranslate() {
    for (const TranslatedText& text : texts_) {
        if (text.target == nullptr) {
            continue;
        }
        const QString translated = Text(text.key);
        if (auto* label = qobject_cast<QLabel*>(text.target)) {
            label->setText(translated);
        } else if (auto* button = qobject_cast<QAbstractButton*>(text.target)) {
            button->setText(translated);
        } else if (auto* edit = qobject_cast<QLineEdit*>(text.target)) {
            edit->setPlaceholderText(translated);
        }
    }
}

void SettingsPage::Warn(const char* titleKey, const QString& text) {
    QMessageBox box(QMessageBox::Warning, Text(titleKey), text, QMessageBox::Ok, window(),
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.exec();
}

}  // namespace tavrin
