#include "Animation/Common/NSData+DataEncrypt.h"

#include "Tests/Animation/Support/AllocationCounter.h"
#include "Tests/Animation/Support/MemoryFile.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sys/stat.h>

namespace {

using Bytes = DataEncrypt::Bytes;
using Datas = DataEncrypt::Datas;

constexpr std::string_view kOnePicture("\x00\x00\x00\x01\x00\x00\x00\x05"
                                       "a.png\x00\x00\x00\x03\xcb\xed\x01",
                                       20);

std::string contentsOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string integer(std::int32_t value) {
    std::uint8_t bytes[4];
    DataEncrypt::integer_toByte(value, bytes);
    return {reinterpret_cast<const char *>(bytes), sizeof bytes};
}

/// Length and text, as a pack holds them.
std::string record(const std::string &text) {
    return integer(static_cast<std::int32_t>(text.size())) + text;
}

class MemoryLimit {
  public:
    explicit MemoryLimit(std::size_t bytes) { AllocationCounter::setLargestBlock(bytes); }
    ~MemoryLimit() { AllocationCounter::setLargestBlock(SIZE_MAX / 2); }
    MemoryLimit(const MemoryLimit &) = delete;
    MemoryLimit &operator=(const MemoryLimit &) = delete;
};

class ResourcePack : public testing::Test {
  protected:
    Datas read(std::string_view bytes) {
        return DataEncrypt::readDatasFromFilePath(MemoryFile(bytes).path());
    }

    DataEncrypt::Pack readPack(std::string_view bytes) {
        return DataEncrypt::readPack(MemoryFile(bytes).path());
    }

    std::string written(const Datas &datas) {
        EXPECT_TRUE(DataEncrypt::saveDatas_toFilePath(datas, path()));
        return contentsOf(path());
    }

    std::string path() const { return _folder.pathOf("a.pack"); }
    const TemporaryFolder &folder() const { return _folder; }
    std::vector<std::string> log() const { return _log.lines(); }

  private:
    TemporaryFolder _folder;
    LogRecorder _log;
};

TEST_F(ResourcePack, OfNothingIsTheCountAlone) {
    EXPECT_EQ(written({}), integer(0));
    EXPECT_TRUE(DataEncrypt::readDatasFromFilePath(path()).empty());
}

TEST_F(ResourcePack, OfOnePictureIsItsCountLengthsAndBytes) {
    const Datas datas{{"a.png", {0xcb, 0xed, 1}}};
    EXPECT_EQ(written(datas), kOnePicture);
    EXPECT_EQ(DataEncrypt::readDatasFromFilePath(path()), datas);
}

TEST_F(ResourcePack, ReadsBackWhatItWrote) {
    const Datas datas{{"", {}}, {"a", {1}}, {"b.png", Bytes(70000, 7)}, {"c", {}}};
    written(datas);
    EXPECT_EQ(DataEncrypt::readDatasFromFilePath(path()), datas);
}

TEST_F(ResourcePack, LogsEachKeyAndEachLength) {
    read(integer(2) + record("a") + record("xyz") + record("b") + record(""));
    EXPECT_THAT(log(),
                testing::ElementsAre("key = a", "data length = 3", "key = b", "data length = 0"));
}

TEST_F(ResourcePack, IsEmptyWithoutAMessageWhenTheFileIsMissing) {
    EXPECT_TRUE(DataEncrypt::readDatasFromFilePath(folder().pathOf("missing")).empty());
    EXPECT_TRUE(log().empty());
}

TEST_F(ResourcePack, IsEmptyWhenTheFileIs) {
    EXPECT_TRUE(read("").empty());
    EXPECT_TRUE(log().empty());
}

TEST_F(ResourcePack, IsEmptyWhenTheCountIsNegative) {
    EXPECT_TRUE(read(integer(-1) + record("a") + record("b")).empty());
    EXPECT_TRUE(read("\xff\xff\xff\xff").empty());
}

TEST_F(ResourcePack, IgnoresWhatComesAfterTheLastEntry) {
    EXPECT_EQ(read(std::string(kOnePicture) + "more").size(), 1u);
}

TEST_F(ResourcePack, HasNoMoreEntriesThanItSays) {
    EXPECT_EQ(read(integer(1) + record("a") + record("1") + record("b") + record("2")),
              (Datas{{"a", {'1'}}}));
    EXPECT_TRUE(read(integer(0) + record("a") + record("1")).empty());
}

TEST_F(ResourcePack, TakesAKeyWithAZeroByteWhole) {
    const std::string key("a\0b", 3);
    EXPECT_EQ(read(integer(1) + record(key) + record("1")), (Datas{{key, {'1'}}}));
    EXPECT_THAT(log(), testing::ElementsAre("key = " + key, "data length = 1"));
}

TEST_F(ResourcePack, TakesAKeyWithAPercentSignAsItIs) {
    const std::string key = "100%s%n%d.png";
    EXPECT_EQ(read(integer(1) + record(key) + record("1")), (Datas{{key, {'1'}}}));
    EXPECT_EQ(log().front(), "key = " + key);
}

TEST_F(ResourcePack, KeepsTheLastValueOfAKeyThatOccursTwice) {
    const Datas datas = read(integer(2) + record("a") + record("1") + record("a") + record("2"));
    EXPECT_EQ(datas, (Datas{{"a", {'2'}}}));
}

TEST_F(ResourcePack, EndsWithTheEntriesReadSoFarWhereverItIsCut) {
    const std::string whole = integer(3) + record("a") + record("one") + record("bb") + record("") +
                              record("c") + record("three");
    const std::size_t firstEnd = 4 + 5 + 7;
    const std::size_t secondEnd = firstEnd + 6 + 4;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Datas datas = read(std::string_view(whole).substr(0, length));
        EXPECT_EQ(datas.size(), (length >= firstEnd) + (length >= secondEnd)) << length;
    }
    EXPECT_EQ(read(whole).size(), 3u);
}

TEST_F(ResourcePack, EndsAtAKeyThatIsNotUTF8) {
    const Datas datas = read(integer(3) + record("a") + record("1") + record("\xff\xfe") +
                             record("2") + record("c") + record("3"));
    EXPECT_EQ(datas, (Datas{{"a", {'1'}}}));
    EXPECT_THAT(log(), testing::ElementsAre("key = a", "data length = 1"));
}

TEST_F(ResourcePack, TakesKeysInUTF8) {
    const Datas datas = read(integer(1) + record("\xe6\xa1\x9c.png") + record("x"));
    EXPECT_EQ(datas.begin()->first, "\xe6\xa1\x9c.png");
}

TEST_F(ResourcePack, EndsAtANegativeLength) {
    EXPECT_TRUE(read(integer(1) + integer(-1) + "a" + record("1")).empty());
    EXPECT_TRUE(read(integer(1) + record("a") + integer(-2147483647 - 1) + "b").empty());
}

TEST_F(ResourcePack, AllocatesNothingForAnAbsurdCountOrLength) {
    constexpr std::int32_t absurd = 0x7fffffff;
    const std::string packs[] = {integer(absurd), integer(absurd) + integer(absurd),
                                 integer(1) + integer(absurd) + "a",
                                 integer(1) + record("a") + integer(absurd) + "b"};
    for (const std::string &pack : packs) {
        const MemoryFile file(pack);
        const std::string path = file.path();
        const std::size_t before = AllocationCounter::totalBytes();
        EXPECT_TRUE(DataEncrypt::readDatasFromFilePath(path).empty());
        EXPECT_LT(AllocationCounter::totalBytes() - before, 64u * 1024);
    }
}

TEST_F(ResourcePack, EndsWhereTheMemoryDoes) {
    const std::string head = integer(3) + record("a") + record("one") + record("b");
    folder().write("a.pack", head + integer(0x7fffffff));
    std::filesystem::resize_file(path(), head.size() + 4 + 0x7fffffff);
    const MemoryLimit limit(64 << 20);
    EXPECT_EQ(DataEncrypt::readDatasFromFilePath(path()), (Datas{{"a", {'o', 'n', 'e'}}}));
    EXPECT_THAT(log(), testing::ElementsAre("key = a", "data length = 3", "key = b"));
    EXPECT_EQ(DataEncrypt::readPack(path()).problem, "is too large for the memory that is free");
}

TEST_F(ResourcePack, GivesWhatItHasWhereverTheMemoryEnds) {
    folder().write("a.pack", integer(3) + record("a") + record("one") + record("b") +
                                 record("two") + record("c") + record("three"));
    const std::string file = path();
    const Datas whole = DataEncrypt::readDatasFromFilePath(file);
    std::size_t blocks = 0;
    for (std::size_t count = 0; count < whole.size(); ++blocks) {
        AllocationCounter::refuseAfter(blocks);
        const Datas datas = DataEncrypt::readDatasFromFilePath(file);
        AllocationCounter::refuseAfter(SIZE_MAX);
        count = datas.size();
        for (const auto &[key, value] : datas) {
            EXPECT_EQ(value, whole.at(key)) << "with " << blocks << " blocks";
        }
    }
    EXPECT_GT(blocks, whole.size());
}

TEST_F(ResourcePack, IsReadInTheFilesOrderWithEveryEntry) {
    const auto pack = readPack(integer(3) + record("b") + record("one") + record("a") + record("") +
                               record("b") + record("2"));
    EXPECT_EQ(pack.count, 3);
    EXPECT_EQ(pack.problem, "");
    ASSERT_EQ(pack.entries.size(), 3u);
    EXPECT_EQ(pack.entries[0].key, "b");
    EXPECT_EQ(pack.entries[0].value, (Bytes{'o', 'n', 'e'}));
    EXPECT_EQ(pack.entries[0].offset, 4u);
    EXPECT_EQ(pack.entries[1].key, "a");
    EXPECT_EQ(pack.entries[1].offset, 16u);
    EXPECT_EQ(pack.entries[2].key, "b");
    EXPECT_EQ(pack.entries[2].offset, 25u);
    EXPECT_EQ(pack.end, 35u);
}

TEST_F(ResourcePack, SaysWhereItEndsAndWhy) {
    const std::string whole = integer(2) + record("a") + record("1");
    const struct {
        std::string rest;
        std::string problem;
    } cases[] = {{record("b") + integer(2) + "x", "is cut short"},
                 {record("b") + std::string(2, '\0'), "is cut short"},
                 {integer(0x7fffffff) + "b", "is cut short"},
                 {"", "is cut short"},
                 {integer(-1) + "b", "has a negative length"},
                 {record("b") + integer(-5), "has a negative length"},
                 {record("\xff") + record("2"), "has a name that is not UTF-8"}};
    for (const auto &one : cases) {
        const auto pack = readPack(whole + one.rest);
        EXPECT_EQ(pack.problem, one.problem);
        EXPECT_EQ(pack.entries.size(), 1u);
        EXPECT_EQ(pack.count, 2);
        EXPECT_EQ(pack.end, whole.size());
    }
}

TEST_F(ResourcePack, NeverGivesMoreThanARandomFileHolds) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::string bytes = integer(static_cast<std::int32_t>(random() % 6));
        const std::size_t size = random() % 200;
        while (bytes.size() < size) {
            // Mostly small numbers, so that many records are complete.
            bytes += random() % 3 ? '\0' : static_cast<char>(random() % (random() % 2 ? 8 : 256));
        }
        std::size_t held = 4;
        for (const auto &[key, value] : read(bytes)) {
            held += 8 + key.size() + value.size();
        }
        EXPECT_LE(held, bytes.size());
    }
}

TEST_F(ResourcePack, IsEmptyWhenThePathIsAFolderOrAPipe) {
    EXPECT_TRUE(DataEncrypt::readDatasFromFilePath(folder().path()).empty());
    const std::string pipe = folder().pathOf("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(DataEncrypt::readDatasFromFilePath(pipe).empty());
}

TEST_F(ResourcePack, ReportsAFileThatItCannotOpenAndMakesNone) {
    const std::string file = folder().pathOf("missing/a.pack");
    EXPECT_FALSE(DataEncrypt::saveDatas_toFilePath({{"a", {1}}}, file));
    EXPECT_FALSE(std::filesystem::exists(folder().pathOf("missing")));
    EXPECT_FALSE(DataEncrypt::saveDatas_toFilePath({}, folder().path()));
}

TEST_F(ResourcePack, ReplacesTheFileThatWasThere) {
    folder().write("a.pack", "something much longer than a pack of nothing");
    EXPECT_EQ(written({}), integer(0));
}

TEST_F(ResourcePack, GoesUnnoticedWhenTheDiskIsFull) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "needs /dev/full";
    }
    EXPECT_TRUE(DataEncrypt::saveDatas_toFilePath({{"a", Bytes(100000, 1)}}, "/dev/full"));
}

TEST_F(ResourcePack, CutsAKeyToAsManyBytesAsItHasUTF16Units) {
    // "é.png" has 5 units and 6 bytes.
    EXPECT_EQ(written({{"\xc3\xa9.png", {7}}}),
              integer(1) + record("\xc3\xa9.pn") + record("\x07"));
    EXPECT_EQ(DataEncrypt::readDatasFromFilePath(path()), (Datas{{"\xc3\xa9.pn", {7}}}));
}

TEST_F(ResourcePack, MayCutAKeyInsideACharacterAndIsThenUnreadableFromThere) {
    // One unit and three bytes, then a pair of units and four bytes.
    EXPECT_EQ(written({{"\xe6\xa1\x9c", {7}}}), integer(1) + record("\xe6") + record("\x07"));
    EXPECT_TRUE(DataEncrypt::readDatasFromFilePath(path()).empty());
    EXPECT_EQ(written({{"\xf0\x9f\x8c\xb8", {7}}}),
              integer(1) + record("\xf0\x9f") + record("\x07"));
}

} // namespace
