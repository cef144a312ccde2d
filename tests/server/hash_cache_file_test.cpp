#include "server/hash_cache_file.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "server/project_catalog.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using server::CatalogFile;

constexpr const char* kEmptyHash =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

// What a visit of the cache saw, one line each.
struct Seen {
    std::string project;
    std::string path;
    std::uint64_t size = 0;
    std::int64_t mtimeNs = 0;
    std::array<std::uint8_t, 32> digest{};
    bool hashed = false;
};

std::vector<Seen> Parse(std::string_view text) {
    std::vector<Seen> seen;
    server::ParseHashCacheText(text, [&seen](const std::string& project, const std::string& path,
                                             const CatalogFile& file) {
        seen.push_back({project, path, file.size, file.mtimeNs, file.digest, file.hashed});
    });
    return seen;
}

TEST(DigestFromHexTest, readsSixtyFourHexDigitsOfEitherCase) {
    std::array<std::uint8_t, 32> digest{};
    ASSERT_TRUE(server::DigestFromHex(kEmptyHash, digest));
    EXPECT_EQ(digest[0], 0xe3);
    EXPECT_EQ(digest[1], 0xb0);
    EXPECT_EQ(digest[31], 0x55);
    std::array<std::uint8_t, 32> upper{};
    ASSERT_TRUE(server::DigestFromHex(
        "E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855", upper));
    EXPECT_EQ(upper, digest);
}

TEST(DigestFromHexTest, refusesWhatIsNoDigest) {
    std::array<std::uint8_t, 32> digest{};
    const std::string hash = kEmptyHash;
    EXPECT_FALSE(server::DigestFromHex(hash.substr(1), digest));
    EXPECT_FALSE(server::DigestFromHex(hash + "0", digest));
    EXPECT_FALSE(server::DigestFromHex("", digest));
    EXPECT_FALSE(server::DigestFromHex("zz" + hash.substr(2), digest));
    EXPECT_FALSE(server::DigestFromHex(hash.substr(0, 62) + "g5", digest));
}

TEST(HashCacheTextTest, eachIntactLineIsVisitedInOrderWithItsFieldsDecoded) {
    const std::string hash = kEmptyHash;
    const std::vector<Seen> seen = Parse("my%20project\tsub/b%20c.txt\t6\t-1\t" + hash + "\n" +
                                         "beta\t%C3%BC.bin\t18446744073709551615\t0\t" + hash);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].project, "my project");
    EXPECT_EQ(seen[0].path, "sub/b c.txt");
    EXPECT_EQ(seen[0].size, 6U);
    EXPECT_EQ(seen[0].mtimeNs, -1);
    EXPECT_EQ(seen[0].digest[0], 0xe3);
    EXPECT_TRUE(seen[0].hashed);
    // The last line needs no line end; sizes take all 64 bits.
    EXPECT_EQ(seen[1].project, "beta");
    EXPECT_EQ(seen[1].path, "\xC3\xBC.bin");
    EXPECT_EQ(seen[1].size, UINT64_MAX);
    EXPECT_EQ(seen[1].mtimeNs, 0);
}

TEST(HashCacheTextTest, aDamagedLineIsPassedOverAndTheNextOneRead) {
    const std::string hash = kEmptyHash;
    const std::string good = "alpha\ta.txt\t10\t5\t" + hash + "\n";
    const std::vector<std::string> damaged = {
        "alpha\ta.txt\t10\t" + hash + "\n",               // a field missing
        "al%zzpha\ta.txt\t10\t5\t" + hash + "\n",         // broken encoding of the project
        "alpha\ta%2.txt\t10\t5\t" + hash + "\n",          // and of the path
        "alpha\ta.txt\tten\t5\t" + hash + "\n",           // no size
        "alpha\ta.txt\t10\t\t" + hash + "\n",             // no time
        "alpha\ta.txt\t10\t5\t" + hash.substr(1) + "\n",  // a short digest
        "alpha\ta.txt\t10\t5\t" + hash + "\r\n",          // a line end of another system
        "alpha a.txt 10 5 " + hash + "\n",                // no tabs
        std::string("\0\xff\t\x01\t\t\t\n", 8),           // no text
        "\n",                                             // nothing
    };
    for (const std::string& line : damaged) {
        const std::vector<Seen> seen = Parse(line + good);
        ASSERT_EQ(seen.size(), 1U) << line;
        EXPECT_EQ(seen[0].path, "a.txt");
        EXPECT_EQ(seen[0].mtimeNs, 5);
    }
    EXPECT_TRUE(Parse("").empty());
}

class HashCacheFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::WriteFile(sandbox_ / "root" / "my project" / "b c.txt", "");
        test::WriteFile(sandbox_ / "root" / "alpha" / "sub" / "a.txt", "");
        catalog_.Rescan();
    }
    std::int64_t MtimeOf(const std::string& project, const std::string& path) const {
        return catalog_.Find(project)->FindFile(path)->mtimeNs;
    }

    test::Sandbox sandbox_;
    server::ProjectCatalog catalog_{sandbox_ / "root", sandbox_ / "unused"};
};

TEST_F(HashCacheFileTest, theTextHasOneLinePerFileSortedByProjectAndPath) {
    const std::string hash = kEmptyHash;
    EXPECT_EQ(server::HashCacheText(catalog_.Projects()),
              "alpha\tsub/a.txt\t0\t" + std::to_string(MtimeOf("alpha", "sub/a.txt")) + "\t" +
                  hash + "\nmy%20project\tb%20c.txt\t0\t" +
                  std::to_string(MtimeOf("my project", "b c.txt")) + "\t" + hash + "\n");
    EXPECT_EQ(server::HashCacheText({}), "");
}

TEST_F(HashCacheFileTest, theFileHoldsTheTextAndReadsBackLineByLine) {
    const auto folder = sandbox_ / "state";
    std::filesystem::create_directories(folder);
    ASSERT_TRUE(server::WriteHashCacheFile(folder, catalog_.Projects()));
    EXPECT_EQ(test::ReadFile(folder / "hashes.txt"), server::HashCacheText(catalog_.Projects()));
    EXPECT_FALSE(std::filesystem::exists(folder / "hashes.txt.tmp"));
    std::vector<std::string> seen;
    server::ReadHashCacheFile(folder, [&seen](const std::string& project, const std::string& path,
                                              const CatalogFile& file) {
        seen.push_back(project + "/" + path + "@" + std::to_string(file.mtimeNs));
    });
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "alpha/sub/a.txt@" + std::to_string(MtimeOf("alpha", "sub/a.txt")),
                        "my project/b c.txt@" + std::to_string(MtimeOf("my project", "b c.txt"))}));
}

TEST_F(HashCacheFileTest, aMissingFileIsAnEmptyCacheAndAMissingFolderCannotBeWritten) {
    int visits = 0;
    server::ReadHashCacheFile(
        sandbox_ / "nowhere",
        [&visits](const std::string&, const std::string&, const CatalogFile&) { ++visits; });
    EXPECT_EQ(visits, 0);
    EXPECT_FALSE(server::WriteHashCacheFile(sandbox_ / "nowhere", catalog_.Projects()));
    EXPECT_FALSE(std::filesystem::exists(sandbox_ / "nowhere"));
}

}  // namespace
}  // namespace tavrin
