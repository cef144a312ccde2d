#include "settings_dialog/legal_page.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QVBoxLayout>

#include "i18n/legal_texts.h"
#include "i18n/translator.h"

namespace tavrin {

namespace {

QString LegalText(std::string_view code, std::string LegalTexts::*field) {
    return QString::fromStdString(LegalTextsFor(code).*field);
}

}  // namespace

LegalPage::LegalPage(const char* objectName, const char* licenseLanguage)
    : SettingsPage(objectName, nullptr),
      licenseLanguage_(licenseLanguage),
      title_(new QLabel(this)),
      hint_(new QLabel(this)),
      text_(new QPlainTextEdit(this)) {
    title_->setObjectName(QStringLiteral("SectionTitle"));
    hint_->setObjectName(QStringLiteral("HintLabel"));
    hint_->setWordWrap(true);
    text_->setReadOnly(true);
    Layout()->addWidget(title_);
    Layout()->addWidget(hint_);
    Layout()->addWidget(text_, 1);
}

QString LegalPage::NoticeTitle() const {
    return LegalText(CurrentLanguage(), &LegalTexts::noticeTabTitle);
}

void LegalPage::Retranslate() {
    const std::string current = CurrentLanguage();
    hint_->setText(LegalText(current, &LegalTexts::hint));
    if (licenseLanguage_ != nullptr) {
        title_->setText(LegalText(licenseLanguage_, &LegalTexts::licenseTabTitle));
        text_->setPlainText(LegalText(licenseLanguage_, &LegalTexts::licenseText));
        return;
    }
    title_->setText(NoticeTitle());
    text_->setPlainText(LegalText(current, &LegalTexts::noticeText));
}

}  // namespace tavrin
