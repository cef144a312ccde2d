#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace tavrin {

// A command line read with CLI11 but held to the grammar scripts were written for: an option
// and its value are two words (never "--option=value"), a word that is no option is refused in
// its place, and of several faults the first on the command line is the one reported. So every
// option is handled the moment CLI11 reads it, after the words it passed over. CLI11 never
// prints or exits; its exceptions end at Read.
class StrictOptionReader {
public:
    StrictOptionReader(std::vector<std::string> words, const std::string& program);
    virtual ~StrictOptionReader() = default;
    StrictOptionReader(const StrictOptionReader&) = delete;
    StrictOptionReader& operator=(const StrictOptionReader&) = delete;

    // False with the first fault of the command line.
    bool Read(std::string& error);

protected:
    // A word refused where it stands, with the message for it.
    struct Refused {
        std::string message;
    };
    // Thrown by a handler after which the rest of the command line does not count (--help).
    struct Answered {};

    // The message for a word that is not taken.
    virtual std::string Unknown(const std::string& word) const = 0;
    // Takes the words CLI11 passed over since the last call, in order; throws Refused at the
    // first that cannot be taken.
    virtual void TakePassedWords() = 0;
    // The message for an option left without its value, which only the last word can be.
    virtual std::string MissingValue() = 0;

    void AddOption(const std::string& name, const std::function<void(const std::string&)>& apply);
    // `spellings`: the words that name the flag; CLI11 also takes "--flag=value", and "-h" run
    // together with more letters.
    void AddFlag(const std::string& names, const std::vector<std::string>& spellings,
                 const std::function<void()>& apply);
    std::vector<std::string> PassedWords() const { return app_.remaining(); }
    const std::vector<std::string>& Words() const { return words_; }
    bool TakesValue(const std::string& word) const;

private:
    std::size_t WordsRead() const { return words_.size() - unread_.size(); }
    void CheckSpelling(const std::string& name, const std::string& value) const;

    std::vector<std::string> words_;
    std::vector<std::string> unread_;  // what CLI11 has still to read, the last word first
    CLI::App app_;
};

}  // namespace tavrin
