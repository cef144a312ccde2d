#include "server/password_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "server/server_options.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using server::ReadPasswordFile;

class PasswordFileTest : public ::testing::Test {
protected:
    std::filesystem::path Write(const std::string& text, mode_t mode) {
        const auto path = sandbox_ / "passwords";
        test::WriteFile(path, text);
        EXPECT_EQ(::chmod(path.c_str(), mode), 0);
        return path;
    }
    test::Sandbox sandbox_;
};

TEST_F(PasswordFileTest, linesGiveProjectsAndSecretsSkippingCommentsAndBlanks) {
    const auto path = Write(
        "# league projects\n\n  Club Pack = a=b c \r\n\t# old=one\nbeta=pw\nprot2 = Other  \n",
        0600);
    std::map<std::string, std::string> passwords;
    std::string error;
    ASSERT_TRUE(ReadPasswordFile(path, passwords, error)) << error;
    // The blanks around a secret are trimmed, as HTTP trims them from the header a client sends.
    const std::map<std::string, std::string> expected{
        {"Club Pack", "a=b c"}, {"beta", "pw"}, {"prot2", "Other"}};
    EXPECT_EQ(passwords, expected);
}

TEST_F(PasswordFileTest, aLineWhoseSecretIsOnlyBlanksIsRefusedWithItsNumber) {
    for (const char* text : {"beta=pw\nempty=\n", "beta=pw\nempty =  \t\n"}) {
        const auto path = Write(text, 0600);
        std::map<std::string, std::string> passwords;
        std::string error;
        EXPECT_FALSE(ReadPasswordFile(path, passwords, error));
        EXPECT_EQ(error, "--password-file " + path.string() + ": line 2 gives empty no secret");
    }
}

TEST_F(PasswordFileTest, aPasswordAlreadyGivenWins) {
    const auto path = Write("beta=from file\ngamma=g\n", 0400);
    std::map<std::string, std::string> passwords{{"beta", "from command line"}};
    std::string error;
    ASSERT_TRUE(ReadPasswordFile(path, passwords, error)) << error;
    EXPECT_EQ(passwords.at("beta"), "from command line");
    EXPECT_EQ(passwords.at("gamma"), "g");
}

TEST_F(PasswordFileTest, aFileOthersMayReadOrWriteIsRefused) {
    for (const mode_t mode : {0644, 0640, 0602}) {
        const auto path = Write("beta=pw\n", mode);
        std::map<std::string, std::string> passwords;
        std::string error;
        EXPECT_FALSE(ReadPasswordFile(path, passwords, error));
        char shown[8];
        std::snprintf(shown, sizeof shown, "%04o", static_cast<unsigned>(mode));
        EXPECT_EQ(error, "--password-file " + path.string() + ": other users may read it (mode " +
                             shown + "); make it private with chmod 600");
        EXPECT_TRUE(passwords.empty());
    }
}

TEST_F(PasswordFileTest, aFileInTheServicesCredentialsFolderIsTakenAsItIs) {
    const auto path = Write("beta=pw\n", 0440);
    const test::ScopedEnvironment credentials("CREDENTIALS_DIRECTORY", sandbox_.Root());
    std::map<std::string, std::string> passwords;
    std::string error;
    ASSERT_TRUE(ReadPasswordFile(path, passwords, error)) << error;
    EXPECT_EQ(passwords.at("beta"), "pw");
}

TEST_F(PasswordFileTest, aLineWithoutProjectOrEqualsSignIsRefusedWithItsNumber) {
    for (const char* text : {"beta=pw\njust a word\n", "beta=pw\n =secret\n"}) {
        const auto path = Write(text, 0600);
        std::map<std::string, std::string> passwords;
        std::string error;
        EXPECT_FALSE(ReadPasswordFile(path, passwords, error));
        EXPECT_EQ(error, "--password-file " + path.string() + ": line 2 is not PROJECT=SECRET");
    }
}

TEST_F(PasswordFileTest, aMissingFileOrAFolderIsRefused) {
    std::map<std::string, std::string> passwords;
    std::string error;
    EXPECT_FALSE(ReadPasswordFile(sandbox_ / "none", passwords, error));
    EXPECT_EQ(error, "--password-file " + (sandbox_ / "none").string() + ": cannot be opened");
    EXPECT_FALSE(ReadPasswordFile(sandbox_.Root(), passwords, error));
    EXPECT_EQ(error, "--password-file " + sandbox_.Root().string() + ": not a regular file");
}

TEST_F(PasswordFileTest, theServersArgumentsReadTheFileAfterTheCommandLine) {
    const auto path = Write("beta=from file\ngamma=g\n", 0600);
    const std::string file = path.string();
    const char* arguments[] = {"tavrin-server", "--password-file", file.c_str(), "--root",
                               "/srv",          "--password",      "beta=typed"};
    server::ServerConfig config;
    std::string error;
    ASSERT_TRUE(server::ParseServerArguments(7, const_cast<char**>(arguments), config, error))
        << error;
    EXPECT_EQ(config.passwords.at("beta"), "typed");
    EXPECT_EQ(config.passwords.at("gamma"), "g");
}

}  // namespace
}  // namespace tavrin
