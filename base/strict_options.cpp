#include "base/strict_options.h"

#include <algorithm>

namespace tavrin {

StrictOptionReader::StrictOptionReader(std::vector<std::string> words, const std::string& program)
    : words_(std::move(words)), unread_(words_.rbegin(), words_.rend()), app_("", program) {
    app_.set_help_flag();  // help is answered by a flag of the reader's own, in its place
    app_.allow_extras();   // taken, or refused, by TakePassedWords
    app_.allow_windows_style_options(false);
}

void StrictOptionReader::AddOption(const std::string& name,
                                   const std::function<void(const std::string&)>& apply) {
    const auto read = [this, name, apply](const CLI::results_t& results) {
        TakePassedWords();
        CheckSpelling(name, results.back());
        apply(results.back());
        return true;
    };
    app_.add_option(name, read)
        ->trigger_on_parse()
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void StrictOptionReader::AddFlag(const std::string& names,
                                 const std::vector<std::string>& spellings,
                                 const std::function<void()>& apply) {
    const auto read = [this, spellings, apply](const CLI::results_t&) {
        TakePassedWords();
        const std::string& word = words_[WordsRead() - 1];
        if (std::find(spellings.begin(), spellings.end(), word) == spellings.end()) {
            throw Refused{Unknown(word)};
        }
        apply();
        return true;
    };
    app_.add_option(names, read)
        ->expected(0)
        ->trigger_on_parse()
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

// CLI11 also takes "--option=value", and "--option=" with the value in the next word.
void StrictOptionReader::CheckSpelling(const std::string& name, const std::string& value) const {
    const std::size_t read = WordsRead();
    if (words_[read - 1] != value) {
        throw Refused{Unknown(words_[read - 1])};
    }
    if (words_[read - 2] != name) {
        throw Refused{Unknown(words_[read - 2])};
    }
}

bool StrictOptionReader::TakesValue(const std::string& word) const {
    const CLI::Option* option = app_.get_option_no_throw(word);
    return option != nullptr && option->get_expected_min() > 0;
}

bool StrictOptionReader::Read(std::string& error) {
    try {
        app_.parse(unread_);
        TakePassedWords();
    } catch (const Answered&) {
        return true;
    } catch (const Refused& refused) {
        error = refused.message;
        return false;
    } catch (const CLI::ParseError&) {
        error = MissingValue();
        return false;
    }
    return true;
}

}  // namespace tavrin
