#include "app/ini_file.h"

#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using test::ReadFile;
using test::Sandbox;
using test::WriteFile;

TEST(IniFileTest, readsAValueFromItsSectionOnly) {
    Sandbox sandbox;
    const auto ini = sandbox / "a.ini";
    WriteFile(ini, "[Other]\nclient_id=wrong\n[General]\nlanguage = fr \nclient_id=right\n");
    EXPECT_EQ(ReadIniValue(ini, L"General", L"client_id"), L"right");
    EXPECT_EQ(ReadIniValue(ini, L"general", L"LANGUAGE"), L"fr");
    EXPECT_EQ(ReadIniValue(ini, L"General", L"missing"), L"");
    EXPECT_EQ(ReadIniValue(ini, L"Missing", L"client_id"), L"");
    EXPECT_EQ(ReadIniValue(sandbox / "none.ini", L"General", L"client_id"), L"");
}

TEST(IniFileTest, writingOneValueLeavesEveryOtherLineAlone) {
    Sandbox sandbox;
    const auto ini = sandbox / "a.ini";
    WriteFile(ini,
              "; comment\n[General]\nlanguage=de\nclient_id=old\nwindow=1\n\n[Servers]\n"
              "1\\name=Main\n");
    ASSERT_TRUE(WriteIniValue(ini, L"General", L"client_id", L"tavrin-0123456789abcdef"));
    EXPECT_EQ(ReadIniValue(ini, L"General", L"client_id"), L"tavrin-0123456789abcdef");
    const std::string text = ReadFile(ini);
    EXPECT_NE(text.find("; comment"), std::string::npos);
    EXPECT_NE(text.find("language=de"), std::string::npos);
    EXPECT_NE(text.find("window=1"), std::string::npos);
    EXPECT_NE(text.find("1\\name=Main"), std::string::npos);
    EXPECT_EQ(text.find("old"), std::string::npos);
    EXPECT_EQ(ReadIniValue(ini, L"Servers", L"1\\name"), L"Main");
}

TEST(IniFileTest, missingKeyIsAddedToItsSection) {
    Sandbox sandbox;
    const auto ini = sandbox / "a.ini";
    WriteFile(ini, "[General]\nlanguage=de\n\n[Servers]\ncount=0\n");
    ASSERT_TRUE(WriteIniValue(ini, L"General", L"client_id", L"tavrin-0123456789abcdef"));
    EXPECT_EQ(ReadIniValue(ini, L"General", L"client_id"), L"tavrin-0123456789abcdef");
    EXPECT_EQ(ReadIniValue(ini, L"Servers", L"client_id"), L"");
    EXPECT_EQ(ReadIniValue(ini, L"Servers", L"count"), L"0");
    EXPECT_EQ(ReadIniValue(ini, L"General", L"language"), L"de");
}

TEST(IniFileTest, missingSectionAndFileAreCreated) {
    Sandbox sandbox;
    const auto ini = sandbox / "new.ini";
    ASSERT_TRUE(WriteIniValue(ini, L"General", L"client_id", L"x1"));
    EXPECT_EQ(ReadIniValue(ini, L"General", L"client_id"), L"x1");
    WriteFile(sandbox / "other.ini", "[Servers]\ncount=0");
    ASSERT_TRUE(WriteIniValue(sandbox / "other.ini", L"General", L"client_id", L"x2"));
    EXPECT_EQ(ReadIniValue(sandbox / "other.ini", L"General", L"client_id"), L"x2");
    EXPECT_EQ(ReadIniValue(sandbox / "other.ini", L"Servers", L"count"), L"0");
}

TEST(IniFileTest, fileInAMissingFolderCannotBeWritten) {
    Sandbox sandbox;
    EXPECT_FALSE(WriteIniValue(sandbox / "no" / "such" / "a.ini", L"General", L"k", L"v"));
}

}  // namespace
}  // namespace tavrin
