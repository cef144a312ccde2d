// Linux only: error texts for failed system calls carry errno and the C library's message.
#include <fcntl.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "net/system_error.h"
#include "tests/support/language_fixture.h"

namespace tavrin {
namespace {

using test::LanguageFolderTest;

TEST_F(LanguageFolderTest, systemErrorTextHasTheTranslationCodeAndMessage) {
    WritePack("en", R"({"strings": {"error.sha_file_open_failed": "Cannot open the file"}})");
    const int fd = open("/nonexistent/tavrin/file", O_RDONLY);
    const int code = errno;
    ASSERT_EQ(fd, -1);
    ASSERT_EQ(code, ENOENT);
    EXPECT_EQ(FormatSystemError("error.sha_file_open_failed", static_cast<std::uint32_t>(code)),
              L"Cannot open the file (2): No such file or directory");
}

}  // namespace
}  // namespace tavrin
