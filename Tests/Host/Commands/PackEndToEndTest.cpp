#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include "Animation/Common/NSData+DataEncrypt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

namespace fs = std::filesystem;
using ::testing::HasSubstr;

namespace {

class Pack : public ::testing::Test {
  protected:
    ProgramRun pack(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "pack");
        return ProgramRun(arguments);
    }

    void expectFailure(const ProgramRun &run, const std::string &words) {
        EXPECT_EQ(run.status(), 1);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr(words));
    }

    /// A pack with one entry of any key.
    std::string packWithKey(const std::string &key) {
        const std::string path = _folder.pathOf("made.pack");
        const std::vector<std::uint8_t> value{1, 2, 3};
        DataEncrypt::saveDatas_toFilePath(
            {{key, DataEncrypt::encryptionDataWithData_encrypt(value, true)}}, path);
        return path;
    }

    /// A pack with these keys and values, valid or not.
    std::string packOf(const std::vector<std::pair<std::string, std::string>> &entries) {
        std::string bytes = integer(entries.size());
        for (const auto &[key, value] : entries) {
            const auto stored = DataEncrypt::encryptionDataWithData_encrypt(
                {reinterpret_cast<const std::uint8_t *>(value.data()), value.size()}, true);
            bytes += integer(key.size()) + key;
            bytes += integer(stored.size()) + std::string(stored.begin(), stored.end());
        }
        return _folder.write("x.pack", bytes);
    }

    static std::string integer(std::size_t value) {
        std::uint8_t bytes[4];
        DataEncrypt::integer_toByte(static_cast<std::int32_t>(value), bytes);
        return {reinterpret_cast<const char *>(bytes), sizeof bytes};
    }

    TemporaryFolder _folder;
};

TEST_F(Pack, GivesTheFilesOfAFolderBack) {
    const std::string source = _folder.makeFolder("in");
    _folder.write("in/a.png", "even");
    _folder.write("in/b.png", "odd");
    _folder.write("in/empty", "");
    ASSERT_EQ(pack({"create", _folder.pathOf("x.pack"), source}).status(), 0);
    ASSERT_EQ(pack({"extract", _folder.pathOf("x.pack"), "-d", _folder.pathOf("out")}).status(), 0);
    EXPECT_EQ(contentsOf(_folder.pathOf("out/a.png")), "even");
    EXPECT_EQ(contentsOf(_folder.pathOf("out/b.png")), "odd");
    EXPECT_TRUE(fs::exists(_folder.pathOf("out/empty")));
}

TEST_F(Pack, StoresValuesInEncryptionDataForm) {
    const std::string file = _folder.write("a.png", "\x12\x34");
    ASSERT_EQ(pack({"create", _folder.pathOf("x.pack"), file}).status(), 0);
    const std::string expected("\0\0\0\1\0\0\0\5a.png\0\0\0\3\xcb\xed\1", 20);
    EXPECT_EQ(contentsOf(_folder.pathOf("x.pack")), expected);
}

TEST_F(Pack, ListsNamesAndSizes) {
    const std::string file = _folder.write("a.png", "four");
    pack({"create", _folder.pathOf("x.pack"), file});
    const auto run = pack({"list", _folder.pathOf("x.pack"), "--json"});
    EXPECT_EQ(run.status(), 0);
    const auto entries = nlohmann::json::parse(run.output());
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0]["name"], "a.png");
    EXPECT_EQ(entries[0]["bytes"], 4);
    EXPECT_THAT(pack({"list", _folder.pathOf("x.pack")}).output(), HasSubstr("a.png"));
}

TEST_F(Pack, TakesTheShippedPicturesAndGivesThemBack) {
    const std::string bundle = shippedBundle("Lumivera.bundle");
    ASSERT_EQ(pack({"create", _folder.pathOf("x.pack"), bundle + "/lumivera_petal1.png",
                    bundle + "/thumbnail.png"})
                  .status(),
              0);
    ASSERT_EQ(pack({"extract", _folder.pathOf("x.pack"), "-d", _folder.path()}).status(), 0);
    EXPECT_EQ(contentsOf(_folder.pathOf("thumbnail.png")), contentsOf(bundle + "/thumbnail.png"));
}

TEST_F(Pack, RefusesNamesThatTheFormatCutsShort) {
    const std::string file = _folder.write("bl\xc3\xbcte.png", "x");
    expectFailure(pack({"create", _folder.pathOf("x.pack"), file}), "beyond ASCII");
    EXPECT_FALSE(fs::exists(_folder.pathOf("x.pack")));
}

TEST_F(Pack, RefusesTwoFilesOfOneName) {
    _folder.makeFolder("one");
    _folder.makeFolder("two");
    expectFailure(pack({"create", _folder.pathOf("x.pack"), _folder.write("one/a.png", "1"),
                        _folder.write("two/a.png", "2")}),
                  "two/a.png: has the same name");
}

TEST_F(Pack, RefusesAFileThatIsNotThere) {
    expectFailure(pack({"create", _folder.pathOf("x.pack"), _folder.pathOf("none.png")}),
                  "none.png: cannot be read");
}

TEST_F(Pack, RefusesAnEmptyFolder) {
    expectFailure(pack({"create", _folder.pathOf("x.pack"), _folder.makeFolder("none")}),
                  "has no files");
}

TEST_F(Pack, KeepsTheOldPackWhenTheDiskIsFull) {
    const std::string file = _folder.write("a.png", std::string(50000, 'x'));
    const std::string old = _folder.write("x.pack", "old");
    const ProgramRun run({"pack", "create", old, file},
                         {.environment = {}, .largestFile = 10000, .folder = {}});
    expectFailure(run, "x.pack: cannot be written whole");
    EXPECT_EQ(contentsOf(old), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(_folder.path()), {}), 2);
}

TEST_F(Pack, NeverReplacesADevice) {
    const std::string file = _folder.write("a.png", "x");
    expectFailure(pack({"create", "/dev/full", file}), "/dev/full: is no regular file");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(Pack, RefusesNamesThatLeaveTheFolder) {
    for (const char *key : {"../a.png", "/tmp/a.png", "a/../../b.png", "..", ".", "a//b", "a/"}) {
        const std::string path = packWithKey(key);
        expectFailure(pack({"extract", path, "-d", _folder.makeFolder("out")}),
                      "would leave the folder");
        EXPECT_TRUE(fs::is_empty(_folder.pathOf("out"))) << key;
    }
}

TEST_F(Pack, MakesFoldersForNamesThatStayInside) {
    const std::string path = packWithKey("petals/a.png");
    EXPECT_EQ(pack({"extract", path, "-d", _folder.pathOf("out")}).status(), 0);
    EXPECT_EQ(contentsOf(_folder.pathOf("out/petals/a.png")), "\1\2\3");
}

TEST_F(Pack, MakesNoFoldersWithoutEnd) {
    std::string key;
    for (int i = 0; i < 3000; ++i) {
        key += "d/";
    }
    expectFailure(pack({"extract", packWithKey(key + "a.png"), "-d", _folder.pathOf("out")}),
                  "lies in more than 16 folders within one another");
    EXPECT_FALSE(fs::exists(_folder.pathOf("out")));
}

TEST_F(Pack, DoesNotFollowLinksInTheTarget) {
    const std::string outside = _folder.write("outside", "safe");
    const std::string out = _folder.makeFolder("out");
    fs::create_symlink(outside, out + "/a.png");
    expectFailure(pack({"extract", packWithKey("a.png"), "-d", out}), "symbolic link");
    EXPECT_EQ(contentsOf(outside), "safe");
}

TEST_F(Pack, DoesNotGoThroughLinkedFolders) {
    const std::string outside = _folder.makeFolder("outside");
    const std::string out = _folder.makeFolder("out");
    fs::create_directory_symlink(outside, out + "/sub");
    EXPECT_EQ(pack({"extract", packWithKey("sub/a.png"), "-d", out}).status(), 1);
    EXPECT_TRUE(fs::is_empty(outside));
}

TEST_F(Pack, SaysWhichNameIsNotUTF8AndKeepsWhatStandsBefore) {
    const std::string path =
        packOf({{"a.png", "first"}, {"\xff\xfe", "second"}, {"c.png", "third"}});
    const auto list = pack({"list", path, "--json"});
    expectFailure(list, "x.pack: entry 2 of 3, at byte 23, has a name that is not UTF-8");
    const auto entries = nlohmann::json::parse(list.output());
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0]["name"], "a.png");
    const auto extract = pack({"extract", path, "-d", _folder.pathOf("out")});
    expectFailure(extract, "entry 2 of 3, at byte 23, has a name that is not UTF-8");
    EXPECT_EQ(contentsOf(_folder.pathOf("out/a.png")), "first");
}

TEST_F(Pack, SaysWhichEntryIsHiddenByALaterOneOfItsName) {
    const std::string path =
        packOf({{"a.png", "first"}, {"b.png", "second"}, {"a.png", "third"}, {"b.png", "4th"}});
    const std::string words = "entry 1 of 4, at byte 4, has the name of entry 3, which replaces it "
                              "(and 1 more like it)";
    const auto list = pack({"list", path, "--json"});
    expectFailure(list, words);
    EXPECT_EQ(nlohmann::json::parse(list.output()).size(), 4u);
    expectFailure(pack({"extract", path, "-d", _folder.pathOf("out")}), words);
    EXPECT_EQ(contentsOf(_folder.pathOf("out/a.png")), "third");
    EXPECT_EQ(contentsOf(_folder.pathOf("out/b.png")), "4th");
}

TEST_F(Pack, IsToldFromOtherFiles) {
    for (const char *bytes : {"", "abc", "\xff\xff\xff\xff"}) {
        const std::string path = _folder.write("other", bytes);
        expectFailure(pack({"list", path}), "other: is no resource pack");
        expectFailure(pack({"extract", path, "-d", _folder.pathOf("out")}), "nothing was");
    }
    EXPECT_EQ(pack({"list", _folder.write("none.pack", std::string(4, '\0'))}).status(), 0);
}

TEST_F(Pack, ExtractsWhatStandsBeforeTheDamage) {
    const std::string a = _folder.write("a.png", "first");
    const std::string b = _folder.write("b.png", "second");
    const std::string path = _folder.pathOf("x.pack");
    pack({"create", path, a, b});
    fs::resize_file(path, fs::file_size(path) - 3);
    const auto run = pack({"extract", path, "-d", _folder.pathOf("out")});
    expectFailure(run, "entry 2 of 2, at byte 23, is cut short");
    EXPECT_EQ(contentsOf(_folder.pathOf("out/a.png")), "first");
    EXPECT_FALSE(fs::exists(_folder.pathOf("out/b.png")));
}

} // namespace
