// Windows only: error texts for failed system calls carry the Win32 code and FormatMessageW's
// text, kept as the system gives it.
#include <windows.h>

#include <gtest/gtest.h>

#include "net/system_error.h"
#include "tests/support/language_fixture.h"

namespace tavrin {
namespace {

using test::LanguageFolderTest;

TEST_F(LanguageFolderTest, systemErrorTextHasTheTranslationCodeAndMessage) {
    WritePack("en", R"({"strings": {"error.sha_file_open_failed": "Cannot open the file"}})");
    const HANDLE file = CreateFileW((sandbox_ / "missing" / "file").c_str(), GENERIC_READ, 0,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    const DWORD code = GetLastError();
    ASSERT_EQ(file, INVALID_HANDLE_VALUE);
    ASSERT_EQ(code, static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    const std::wstring text = FormatSystemError("error.sha_file_open_failed", code);
    const std::wstring start = L"Cannot open the file (3): ";
    ASSERT_EQ(text.rfind(start, 0), 0U) << text.c_str();
    EXPECT_GT(text.size(), start.size() + 5);
}

TEST_F(LanguageFolderTest, codeWithoutSystemTextEndsAfterTheCode) {
    WritePack("en", R"({"strings": {"error.winhttp_connect_failed": "Cannot connect"}})");
    EXPECT_EQ(FormatSystemError("error.winhttp_connect_failed", 12029), L"Cannot connect (12029)");
}

}  // namespace
}  // namespace tavrin
