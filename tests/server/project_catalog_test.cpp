#include "server/project_catalog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using server::FolderChanges;
using server::ProjectCatalog;

constexpr const char* kAlphaHash =
    "9b7b2798124bacfcaefb1e96d199a3bf92f8dd125c32524e99725f5a04abed51";
constexpr const char* kAlphaUpperHash =
    "4fcfc497c66cf6145bb122ab62d8547f90ac71bdcaf06b623ac230f5d2f4bec0";
constexpr const char* kSpacedHash =
    "4cf28831d09470e8185fbb6ace85c0ae1238bebb05972737d6422c7ff8783cce";
constexpr const char* kBetaHash =
    "66e93164a72cb1c31b9c30f39320155b881528a6a68fe3851b8251da491f631e";
constexpr const char* kEmptyHash =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
// Every file gets this modification time: 1600000000.5 s after 1970.
constexpr std::int64_t kMtimeNs = 1'600'000'000'500'000'000;

// A root of real folders and files with fixed times, so lists and the cache have known bytes.
class ProjectCatalogTest : public ::testing::Test {
protected:
    void SetUp() override {
        Write("alpha/a.txt", "alpha file");
        Write("alpha/sub/b c.txt", "spaced");
        Write("beta/x.bin", "beta file");
    }
    void Write(const std::string& relative, std::string_view bytes,
               std::int64_t mtimeNs = kMtimeNs) {
        const auto path = root_ / test::Utf8Path(relative);
        test::WriteFile(path, bytes);
        const timespec times[2] = {{0, UTIME_OMIT},
                                   {mtimeNs / 1'000'000'000, mtimeNs % 1'000'000'000}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
    }
    static std::vector<std::string> Paths(const ProjectCatalog& catalog, const std::string& name) {
        std::vector<std::string> paths;
        if (const auto project = catalog.Find(name)) {
            for (const server::CatalogFile& file : project->files) {
                paths.emplace_back(project->PathOf(file));
            }
        }
        return paths;
    }
    static std::string Hash(const ProjectCatalog& catalog, const std::string& name,
                            const std::string& path) {
        const auto project = catalog.Find(name);
        const server::CatalogFile* file = project ? project->FindFile(path) : nullptr;
        return file ? project->HashOf(*file) : "not listed";
    }

    test::Sandbox sandbox_;
    std::filesystem::path root_ = sandbox_ / "root";
    std::filesystem::path state_ = sandbox_ / "state";
};

TEST_F(ProjectCatalogTest, aScanListsEveryFileBelowEachFolderOfTheRoot) {
    Write("alpha/.keep", "");
    Write("loose.txt", "a file of the root is no project");
    ProjectCatalog catalog(root_, state_);
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(catalog.ProjectNames(), (std::vector<std::string>{"alpha", "beta"}));
    // Sorted by path; a hidden file inside a project is content like any other.
    EXPECT_EQ(Paths(catalog, "alpha"), (std::vector<std::string>{".keep", "a.txt", "sub/b c.txt"}));
    EXPECT_EQ(Hash(catalog, "alpha", ".keep"), kEmptyHash);
    EXPECT_EQ(Hash(catalog, "alpha", "sub/b c.txt"), kSpacedHash);
    const auto beta = catalog.Find("beta");
    ASSERT_NE(beta, nullptr);
    EXPECT_EQ(beta->name, "beta");
    EXPECT_EQ(beta->listJson, std::string(R"([{"relative_path":"x.bin","size":9,)") +
                                  R"("mtime":1600000000.5,"hash":")" + kBetaHash + "\"}]");
    ASSERT_EQ(beta->files.size(), 1U);
    EXPECT_EQ(beta->files[0].size, 9U);
    EXPECT_EQ(beta->files[0].mtimeNs, kMtimeNs);
    // The ETag: both zlib checksums of the list and its length.
    const auto* bytes = reinterpret_cast<const Bytef*>(beta->listJson.data());
    char etag[48];
    std::snprintf(etag, sizeof etag, "\"%08x%08x-%zx\"",
                  static_cast<unsigned>(crc32_z(0, bytes, beta->listJson.size())),
                  static_cast<unsigned>(adler32_z(1, bytes, beta->listJson.size())),
                  beta->listJson.size());
    EXPECT_EQ(beta->etag, etag);
    EXPECT_EQ(catalog.Find("loose.txt"), nullptr);
}

TEST_F(ProjectCatalogTest, hiddenFoldersOfTheRootAndLinksAreLeftOut) {
    Write(".hidden/h.txt", "hidden");
    Write(".tavrin-server/hashes.txt", "");
    std::filesystem::create_directory_symlink(root_ / "alpha", root_ / "linked");
    std::filesystem::create_symlink(root_ / "alpha" / "a.txt", root_ / "alpha" / "link.txt");
    std::filesystem::create_directory_symlink(root_ / "beta", root_ / "alpha" / "linked-folder");
    ProjectCatalog catalog(root_);
    catalog.Rescan();
    EXPECT_EQ(catalog.ProjectNames(), (std::vector<std::string>{"alpha", "beta"}));
    EXPECT_EQ(Paths(catalog, "alpha"), (std::vector<std::string>{"a.txt", "sub/b c.txt"}));
    // Events in hidden folders of the root change nothing either.
    FolderChanges changes;
    changes.folders = {".hidden"};
    changes.trees = {".other"};
    const std::uint64_t revision = catalog.Revision();
    EXPECT_FALSE(catalog.Apply(changes));
    EXPECT_EQ(catalog.Revision(), revision);
    EXPECT_EQ(catalog.Find(".hidden"), nullptr);
}

TEST_F(ProjectCatalogTest, theRevisionGrowsOnlyWhenAListChanges) {
    ProjectCatalog catalog(root_, state_);
    EXPECT_EQ(catalog.Revision(), 0U);
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(catalog.Revision(), 1U);
    const auto alpha = catalog.Find("alpha");
    EXPECT_FALSE(catalog.Rescan());
    EXPECT_EQ(catalog.Revision(), 1U);
    Write("beta/x.bin", "grown file!");
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(catalog.Revision(), 2U);
    // An unchanged project stays the very same object, its compressed list with it.
    EXPECT_EQ(catalog.Find("alpha"), alpha);
    EXPECT_EQ(catalog.Find("alpha")->changedAtRevision, 1U);
    EXPECT_EQ(catalog.Find("beta")->changedAtRevision, 2U);
    EXPECT_EQ(catalog.LastChange({"alpha"}), 1U);
    EXPECT_EQ(catalog.LastChange({"beta"}), 2U);
    EXPECT_EQ(catalog.LastChange({}), 2U);
    EXPECT_EQ(catalog.LastChange({"nobody"}), 0U);
    // A new time alone changes the list too.
    Write("alpha/a.txt", "alpha file", kMtimeNs + 1'000'000'000);
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(catalog.Revision(), 3U);
    EXPECT_EQ(catalog.Find("alpha")->changedAtRevision, 3U);
    std::filesystem::remove_all(root_ / "beta");
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(catalog.Revision(), 4U);
    EXPECT_EQ(catalog.Find("beta"), nullptr);
    EXPECT_EQ(catalog.ProjectNames(), (std::vector<std::string>{"alpha"}));
}

TEST_F(ProjectCatalogTest, applyScansOnlyTheFoldersItIsGiven) {
    ProjectCatalog catalog(root_, state_);
    catalog.Rescan();
    Write("alpha/a.txt", "ALPHA FILE", kMtimeNs + 1'000'000'000);
    Write("alpha/sub/new.txt", "fresh");
    FolderChanges changes;
    changes.folders = {"alpha/sub"};
    EXPECT_TRUE(catalog.Apply(changes));
    EXPECT_EQ(catalog.Revision(), 2U);
    EXPECT_EQ(Paths(catalog, "alpha"),
              (std::vector<std::string>{"a.txt", "sub/b c.txt", "sub/new.txt"}));
    // The root folder of alpha was not named: its file is listed as it was.
    EXPECT_EQ(Hash(catalog, "alpha", "a.txt"), kAlphaHash);
    EXPECT_EQ(catalog.Find("alpha")->FindFile("a.txt")->mtimeNs, kMtimeNs);
    EXPECT_EQ(catalog.Find("beta")->changedAtRevision, 1U);
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(Hash(catalog, "alpha", "a.txt"), kAlphaUpperHash);
    EXPECT_EQ(catalog.Revision(), 3U);
    // A tree below a project: everything under it, and nothing beside it.
    std::filesystem::remove_all(root_ / "alpha" / "sub");
    Write("alpha/sub/deeper/d.txt", "nested");
    Write("alpha/other.txt", "beside");
    changes = {};
    changes.trees = {"alpha/sub"};
    EXPECT_TRUE(catalog.Apply(changes));
    EXPECT_EQ(Paths(catalog, "alpha"), (std::vector<std::string>{"a.txt", "sub/deeper/d.txt"}));
}

TEST_F(ProjectCatalogTest, applyFindsANewProjectWholeAndDropsAGoneOne) {
    ProjectCatalog catalog(root_, state_);
    catalog.Rescan();
    Write("gamma/top.txt", "top");
    Write("gamma/deep/g.txt", "deep");
    FolderChanges changes;
    changes.folders = {"gamma/deep"};
    EXPECT_TRUE(catalog.Apply(changes));
    EXPECT_EQ(catalog.Revision(), 2U);
    EXPECT_EQ(Paths(catalog, "gamma"), (std::vector<std::string>{"deep/g.txt", "top.txt"}));
    EXPECT_EQ(catalog.Find("gamma")->changedAtRevision, 2U);
    std::filesystem::remove_all(root_ / "beta");
    changes = {};
    changes.trees = {"beta"};
    EXPECT_TRUE(catalog.Apply(changes));
    EXPECT_EQ(catalog.Revision(), 3U);
    EXPECT_EQ(catalog.ProjectNames(), (std::vector<std::string>{"alpha", "gamma"}));
    // Events that change no list leave the revision alone; lost events mean a full rescan.
    changes = {};
    changes.folders = {"alpha"};
    EXPECT_FALSE(catalog.Apply(changes));
    Write("alpha/sub/b c.txt", "respaced");
    changes = {};
    changes.everything = true;
    EXPECT_TRUE(catalog.Apply(changes));
    EXPECT_EQ(catalog.Revision(), 4U);
    EXPECT_EQ(catalog.Find("alpha")->FindFile("sub/b c.txt")->size, 8U);
}

TEST_F(ProjectCatalogTest, listedFileLeadsOnlyToListedFiles) {
    Write(".hidden/h.txt", "hidden");
    std::filesystem::create_symlink(sandbox_ / "outside.txt", root_ / "alpha" / "link.txt");
    test::WriteFile(sandbox_ / "outside.txt", "outside the root");
    ProjectCatalog catalog(root_, state_);
    catalog.Rescan();
    EXPECT_EQ(catalog.ListedFile("alpha", "sub/b c.txt").value_or("none"),
              root_ / "alpha" / "sub" / "b c.txt");
    EXPECT_EQ(catalog.ListedFile("beta", "x.bin").value_or("none"), root_ / "beta" / "x.bin");
    EXPECT_FALSE(catalog.ListedFile("alpha", "sub"));
    EXPECT_FALSE(catalog.ListedFile("alpha", "missing.txt"));
    EXPECT_FALSE(catalog.ListedFile("alpha", "../beta/x.bin"));
    EXPECT_FALSE(catalog.ListedFile("alpha", "/a.txt"));
    EXPECT_FALSE(catalog.ListedFile("alpha", "link.txt"));
    EXPECT_FALSE(catalog.ListedFile("beta", "a.txt"));
    EXPECT_FALSE(catalog.ListedFile("nobody", "a.txt"));
    EXPECT_FALSE(catalog.ListedFile(".hidden", "h.txt"));
    // A file that came after the last scan is not listed yet.
    Write("alpha/later.txt", "later");
    EXPECT_FALSE(catalog.ListedFile("alpha", "later.txt"));
}

TEST_F(ProjectCatalogTest, saveWritesTheHashCacheAndTheRevision) {
    Write("my project/b c.txt", "spaced");
    ProjectCatalog catalog(root_, state_);
    catalog.Rescan();
    catalog.Save();
    const std::string time = "\t" + std::to_string(kMtimeNs) + "\t";
    EXPECT_EQ(test::ReadFile(state_ / "hashes.txt"),
              "alpha\ta.txt\t10" + time + kAlphaHash + "\n" + "alpha\tsub/b%20c.txt\t6" + time +
                  kSpacedHash + "\n" + "beta\tx.bin\t9" + time + kBetaHash + "\n" +
                  "my%20project\tb%20c.txt\t6" + time + kSpacedHash + "\n");
    const auto state = nlohmann::json::parse(test::ReadFile(state_ / "state.json"));
    EXPECT_EQ(state.at("revision"), 1);
    EXPECT_EQ(state.at("projects").at("alpha").at("etag"), catalog.Find("alpha")->etag);
    EXPECT_EQ(state.at("projects").at("my project").at("changed"), 1);
    EXPECT_EQ(state.at("projects").at("beta").at("modified"), catalog.Find("beta")->lastModified);
    // Nothing changed since: nothing is written again.
    std::filesystem::remove(state_ / "hashes.txt");
    catalog.Save();
    EXPECT_FALSE(std::filesystem::exists(state_ / "hashes.txt"));
    Write("beta/x.bin", "grown file!");
    catalog.Rescan();
    catalog.Save();
    EXPECT_TRUE(std::filesystem::exists(state_ / "hashes.txt"));
}

TEST_F(ProjectCatalogTest, withoutAStateFolderTheStateLiesHiddenInTheRoot) {
    ProjectCatalog catalog(root_);
    catalog.Rescan();
    catalog.Save();
    EXPECT_TRUE(std::filesystem::exists(root_ / ".tavrin-server" / "hashes.txt"));
    EXPECT_TRUE(std::filesystem::exists(root_ / ".tavrin-server" / "state.json"));
    EXPECT_FALSE(catalog.Rescan());
    EXPECT_EQ(catalog.ProjectNames(), (std::vector<std::string>{"alpha", "beta"}));
}

TEST_F(ProjectCatalogTest, aNewCatalogTakesTheSavedHashesAndRevision) {
    {
        ProjectCatalog catalog(root_, state_);
        catalog.Rescan();
        Write("beta/x.bin", "grown file!");
        catalog.Rescan();
        catalog.Save();
    }
    // Same size, same time: a file the cache knows is not read again.
    Write("alpha/a.txt", "ALPHA FILE");
    ProjectCatalog restarted(root_, state_);
    EXPECT_EQ(restarted.Revision(), 2U);
    EXPECT_FALSE(restarted.Rescan());
    EXPECT_EQ(restarted.Revision(), 2U);
    EXPECT_EQ(Hash(restarted, "alpha", "a.txt"), kAlphaHash);
    EXPECT_EQ(restarted.Find("alpha")->changedAtRevision, 1U);
    EXPECT_EQ(restarted.Find("beta")->changedAtRevision, 2U);
    ProjectCatalog fresh(root_, sandbox_ / "fresh-state");
    fresh.Rescan();
    EXPECT_EQ(Hash(fresh, "alpha", "a.txt"), kAlphaUpperHash);
}

TEST_F(ProjectCatalogTest, aDamagedHashCacheCostsOnlyTheHashesOfItsDamagedLines) {
    const std::string time = "\t" + std::to_string(kMtimeNs) + "\t";
    const std::string remembered(64, 'a');
    test::WriteFile(state_ / "hashes.txt",
                    "alpha\ta.txt\t10" + time + remembered + "\n" +               // intact
                        "alpha\tsub/b%20c.txt\tsix" + time + remembered + "\n" +  // size
                        "beta\tx.bin\t9" + time + "0123\n" +                      // digest
                        std::string("%zz\t\x00\xff\t\t\t\n\n", 11) +              // garbage
                        "beta\tx.bin\t9\t" + remembered + "\n");                  // fields
    test::WriteFile(state_ / "state.json", "{not json");
    ProjectCatalog catalog(root_, state_);
    EXPECT_EQ(catalog.Revision(), 0U);
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(catalog.Revision(), 1U);
    EXPECT_EQ(Hash(catalog, "alpha", "a.txt"), remembered);
    EXPECT_EQ(Hash(catalog, "alpha", "sub/b c.txt"), kSpacedHash);
    EXPECT_EQ(Hash(catalog, "beta", "x.bin"), kBetaHash);
    // A remembered hash counts only while the file keeps its size and time.
    Write("alpha/a.txt", "alpha file", kMtimeNs + 1);
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(Hash(catalog, "alpha", "a.txt"), kAlphaHash);
}

TEST_F(ProjectCatalogTest, aCacheThatIsNoTextAtAllIsIgnored) {
    std::string noise;
    for (int i = 0; i < 4096; ++i) {
        noise.push_back(static_cast<char>((i * 7919) % 256));
    }
    test::WriteFile(state_ / "hashes.txt", noise);
    ProjectCatalog catalog(root_, state_);
    EXPECT_TRUE(catalog.Rescan());
    EXPECT_EQ(catalog.ProjectNames(), (std::vector<std::string>{"alpha", "beta"}));
    EXPECT_EQ(Hash(catalog, "alpha", "a.txt"), kAlphaHash);
    EXPECT_EQ(Hash(catalog, "beta", "x.bin"), kBetaHash);
    catalog.Save();
    EXPECT_EQ(test::ReadFile(state_ / "hashes.txt").substr(0, 6), "alpha\t");
}

}  // namespace
}  // namespace tavrin
