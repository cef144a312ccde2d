#pragma once

#include <gtest/gtest.h>

#include <string_view>

#include "i18n/language_pack.h"
#include "i18n/translator.h"
#include "tests/support/sandbox.h"

namespace tavrin::test {

// Points the language packs at a sandbox folder (built-in packs off unless a test turns them
// on) and restores the program's own sources afterwards, with a fresh lookup state each time.
class LanguageFolderTest : public ::testing::Test {
protected:
    void SetUp() override {
        saved_ = CurrentLanguagePackSources();
        SetLanguagePackSources({sandbox_.Root(), false});
        ResetLanguageState();
    }
    void TearDown() override {
        SetLanguagePackSources(saved_);
        ResetLanguageState();
    }
    void WritePack(std::string_view code, std::string_view json) {
        WriteFile(sandbox_ / "i18n" / (std::string(code) + ".json"), json);
    }
    void UseBuiltInPacks(bool use) { SetLanguagePackSources({sandbox_.Root(), use}); }

    Sandbox sandbox_;

private:
    LanguagePackSources saved_;
};

}  // namespace tavrin::test
