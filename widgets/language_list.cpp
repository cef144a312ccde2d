#include "widgets/language_list.h"

#include <QString>
#include <algorithm>

namespace tavrin {

void SortForChooser(std::vector<LanguageEntry>& languages) {
    std::stable_sort(languages.begin(), languages.end(),
                     [](const LanguageEntry& a, const LanguageEntry& b) {
                         if ((a.code == "en") != (b.code == "en")) {
                             return a.code == "en";
                         }
                         return QString::localeAwareCompare(QString::fromStdString(a.name),
                                                            QString::fromStdString(b.name)) < 0;
                     });
}

std::vector<LanguageEntry> ChooserLanguages() {
    std::vector<LanguageEntry> languages = AvailableLanguages();
    SortForChooser(languages);
    return languages;
}

}  // namespace tavrin
