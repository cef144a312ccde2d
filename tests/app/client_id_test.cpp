#include "app/client_id.h"

#include <gtest/gtest.h>

#include "app/ini_file.h"
#include "app/machine_identity.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using test::ReadFile;
using test::Sandbox;
using test::WriteFile;

bool IsGuidForm(const std::wstring& id) {
    return id.size() == 43 && id.rfind(L"tavrin-", 0) == 0 && IsValidClientId(id);
}

TEST(ClientIdRulesTest, sixteenHexDigitsOfEitherCaseAreValid) {
    EXPECT_TRUE(IsValidClientId(L"tavrin-0123456789abcdef"));
    EXPECT_TRUE(IsValidClientId(L"tavrin-0123456789ABCDEF"));
    EXPECT_FALSE(IsValidClientId(L"tavrin-0123456789abcde"));
    EXPECT_FALSE(IsValidClientId(L"tavrin-0123456789abcdef0"));
    EXPECT_FALSE(IsValidClientId(L"tavrin-0123456789abcdeg"));
}

TEST(ClientIdRulesTest, guidFormWithUpperCaseDigitsIsValid) {
    EXPECT_TRUE(IsValidClientId(L"tavrin-0F8FAD5B-D9CB-469F-A165-70867728950E"));
    EXPECT_TRUE(IsValidClientId(L"tavrin-0f8fad5b-d9cb-469f-a165-70867728950e"));
    EXPECT_FALSE(IsValidClientId(L"tavrin-0f8fad5bd-9cb-469f-a165-70867728950e"));
    EXPECT_FALSE(IsValidClientId(L"tavrin-{0f8fad5b-d9cb-469f-a165-70867728950}"));
    EXPECT_FALSE(IsValidClientId(L"tavrin-0f8fad5b-d9cb-469f-a165-70867728950x"));
}

TEST(ClientIdRulesTest, prefixMustBeLowerCaseAndComplete) {
    EXPECT_FALSE(IsValidClientId(L"Tavrin-0123456789abcdef"));
    EXPECT_FALSE(IsValidClientId(L"TAVRIN-0123456789abcdef"));
    EXPECT_FALSE(IsValidClientId(L"tavrin_0123456789abcdef"));
    EXPECT_FALSE(IsValidClientId(L"tavrin-"));
    EXPECT_FALSE(IsValidClientId(L""));
}

TEST(ClientIdRulesTest, machineIdHashesComputerAndUserNames) {
    EXPECT_EQ(MachineClientId(L"PC-RACER", L"\u00D6d\u00F6n"), L"tavrin-7f8778fbc58f0c92");
    EXPECT_TRUE(IsValidClientId(MachineClientId(ComputerName(), UserName())));
}

TEST(ClientIdRulesTest, newGuidsAreVersionFourAndDiffer) {
    const std::wstring first = NewGuidText();
    const std::wstring second = NewGuidText();
    ASSERT_EQ(first.size(), 36U);
    EXPECT_NE(first, second);
    EXPECT_TRUE(IsValidClientId(L"tavrin-" + first));
    for (const wchar_t c : first) {
        EXPECT_FALSE(c >= L'A' && c <= L'F') << "GUID text must be lower case";
    }
    EXPECT_EQ(first[14], L'4');
}

TEST(ClientIdTest, storedIdWithBlanksIsUsedTrimmedAndNotRewritten) {
    Sandbox sandbox;
    const auto ini = sandbox / "Tavrin.ini";
    const std::string content = "[General]\r\nclient_id=  tavrin-00aabbccddeeff11 \t\r\n";
    WriteFile(ini, content);
    EXPECT_EQ(ClientId(ini), L"tavrin-00aabbccddeeff11");
    EXPECT_EQ(ReadFile(ini), content);
}

TEST(ClientIdTest, upperCasePrefixIsReplacedByANewGuidIdThatIsWrittenBack) {
    Sandbox sandbox;
    const auto ini = sandbox / "Tavrin.ini";
    WriteFile(ini, "[General]\nclient_id=TAVRIN-00aabbccddeeff11\nlanguage=de\n");
    const std::wstring id = ClientId(ini);
    EXPECT_TRUE(IsGuidForm(id)) << id.c_str();
    EXPECT_EQ(ReadIniValue(ini, L"General", L"client_id"), id);
    EXPECT_EQ(ReadIniValue(ini, L"General", L"language"), L"de");
    EXPECT_EQ(ClientId(ini), id);  // stable from then on
}

TEST(ClientIdTest, missingFileGetsANewIdWrittenIntoIt) {
    Sandbox sandbox;
    const auto ini = sandbox / "Tavrin.ini";
    const std::wstring id = ClientId(ini);
    EXPECT_TRUE(IsGuidForm(id));
    EXPECT_EQ(ReadIniValue(ini, L"General", L"client_id"), id);
}

TEST(ClientIdTest, emptySettingsPathStillGivesAnId) {
    EXPECT_TRUE(IsGuidForm(ClientId({})));
}

TEST(ClientIdTest, idThatCannotBeWrittenIsStillUsed) {
    Sandbox sandbox;
    const auto ini = sandbox / "missing-folder" / "Tavrin.ini";
    const std::wstring id = ClientId(ini);
    EXPECT_TRUE(IsGuidForm(id));
    EXPECT_FALSE(std::filesystem::exists(ini));
}

}  // namespace
}  // namespace tavrin
