#pragma once

#include <QPointer>
#include <QWidget>
#include <vector>

#include "settings/settings_merge.h"

class QCheckBox;
class QLabel;
class QVBoxLayout;

namespace tavrin {

// One tab of the settings dialog. It is filled from the values the dialog starts from, puts
// the player's choices back into them when the dialog is accepted, and keeps its texts in the
// current language. A tab's object name names it; its title is the text of `titleKey`.
class SettingsPage : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SettingsPage)
public:
    SettingsPage(const char* objectName, const char* titleKey);

    virtual void Fill(const SettingsDialogValues& values);
    virtual void Collect(SettingsDialogValues& values) const;
    virtual void Retranslate();
    // The tab's title; empty keeps the title the dialog gave it.
    QString Title() const;

protected:
    QVBoxLayout* Layout() const { return layout_; }
    // A word-wrapped label under the style sheet's object name, its text kept translated.
    QLabel* TranslatedLabel(const char* key, const char* objectName);
    // A check box under its object name, its text kept translated, added to the page.
    QCheckBox* TranslatedCheck(const char* objectName, const char* key);
    // Keeps the text (or, for a line edit, the placeholder) of `target` translated.
    void Translate(QObject* target, const char* key);
    // A box over the dialog, answered with OK.
    void Warn(const char* titleKey, const QString& text);

private:
    struct TranslatedText {
        QPointer<QObject> target;
        const char* key;
    };
    const char* titleKey_;
    QVBoxLayout* layout_;
    std::vector<TranslatedText> texts_;
};

}  // namespace tavrin
