#pragma once

#include <vector>

#include "i18n/language_pack.h"

namespace tavrin {

// The languages the chooser offers: English first, the others by their own names in the
// order of the user's locale.
std::vector<LanguageEntry> ChooserLanguages();
void SortForChooser(std::vector<LanguageEntry>& languages);

}  // namespace tavrin
