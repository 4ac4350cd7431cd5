#include "Host/Wallpapers/BundleArchive.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Wallpapers/MadeZip.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <sys/stat.h>

using namespace Lumivera;
namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

std::vector<std::uint8_t> bytesIn(const std::string &text) { return {text.begin(), text.end()}; }

MadeZip emptyArchive() {
    MadeZip zip;
    zip.add("mimetype", BundleArchive::kType);
    return zip;
}

/// A file in order, to which a test adds what is wrong.
MadeZip archive() { return emptyArchive().add("Snow.bundle/description.plist", propertyList("")); }

std::string problemOf(const MadeZip &zip) {
    try {
        BundleArchive::parse(bytesIn(zip.bytes()), "x.lumivera");
    } catch (const HostError &error) {
        return error.what();
    }
    return "";
}

std::string problemWith(const MadeZip::Entry &entry) { return problemOf(archive().add(entry)); }

TEST(BundleArchive, GivesBackWhatItWasMadeOf) {
    const std::string petal(100'000, 'p');
    const BundleContents bundle("x", "Snow.bundle",
                                {{"petals/a.png", bytesIn(petal)},
                                 {"description.plist", bytesIn(propertyList(""))},
                                 {"empty", {}},
                                 {"Bl\xc3\xbcte.png", bytesIn("b")}});
    const auto bytes = BundleArchive::bytesOf(bundle, "x");
    const BundleContents back = BundleArchive::parse(bytes, "x");
    EXPECT_EQ(back.name(), "Snow.bundle");
    ASSERT_EQ(back.files().size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(back.files()[i].path, bundle.files()[i].path);
        EXPECT_EQ(back.files()[i].bytes, bundle.files()[i].bytes);
    }
    EXPECT_EQ(BundleArchive::bytesOf(back, "y"), bytes);
}

TEST(BundleArchive, IsKnownByItsFirstBytes) {
    const BundleContents bundle("x", "Snow.bundle",
                                {{"description.plist", bytesIn(propertyList(""))}});
    const auto bytes = BundleArchive::bytesOf(bundle, "x");
    const std::string start(bytes.begin() + 30, bytes.begin() + 80);
    EXPECT_THAT(start, ::testing::StartsWith("mimetypeapplication/x-lumivera-bundlePK"));
}

TEST(BundleArchive, MayBeMadeByOtherPrograms) {
    EXPECT_EQ(problemOf(archive()), "");
    EXPECT_EQ(problemOf(archive().add({.name = "Snow.bundle/", .bytes = {}, .mode = 040755})), "");
    EXPECT_EQ(problemWith({.name = "Snow.bundle/a", .bytes = "x", .mode = 0}), "");
    EXPECT_EQ(problemWith({.name = "Snow.bundle/a",
                           .bytes = MadeZip::deflatedZeros(1),
                           .method = 8,
                           .size = 259,
                           .checksum = MadeZip::checksumOf(std::string(259, '\0'))}),
              "");
}

TEST(BundleArchive, RefusesNamesThatLeaveTheFolder) {
    for (const char *name :
         {"/etc/passwd", "../evil", "Snow.bundle/../../evil", "Snow.bundle/a//b", "Snow.bundle/.",
          "Snow.bundle/..", "/", "", "Snow.bundle/a/../b", "Snow.bundle/a\nb",
          "Snow.bundle/\x7f"
          "b"}) {
        const std::string problem = problemWith({.name = name, .bytes = "x"});
        EXPECT_THAT(problem, ::testing::StartsWith("x.lumivera: the entry ")) << name;
    }
    EXPECT_THAT(problemWith({.name = "../evil", .bytes = "x"}),
                HasSubstr("would leave the folder"));
    for (const char *name : {"evil", "Other.bundle/a", "snow.bundle/a"}) {
        EXPECT_THAT(problemWith({.name = name, .bytes = "x"}),
                    HasSubstr("lies beside the bundle's folder"))
            << name;
    }
}

TEST(BundleArchive, RefusesNamesThatPeopleOrSystemsReadOtherwise) {
    for (const char *name :
         {"Snow.bundle/a\\b", "Snow.bundle/\xff", "Snow.bundle/.hidden", "Snow.bundle/.git/x",
          "Snow.bundle/a\xe2\x80\xae"
          "b"}) {
        EXPECT_NE(problemWith({.name = name, .bytes = "x"}), "") << name;
    }
    EXPECT_THAT(problemWith({.name = std::string("Snow.bundle/a\0b", 15), .bytes = "x"}),
                HasSubstr("a zero in its name"));
    EXPECT_NE(problemWith({.name = "Snow.bundle/" + std::string(300, 'a'), .bytes = "x"}), "");
    std::string deep = "Snow.bundle/";
    for (int i = 0; i < 20; ++i) {
        deep += "d/";
    }
    EXPECT_THAT(problemWith({.name = deep + "a", .bytes = "x"}), HasSubstr("more than 16 folders"));
}

TEST(BundleArchive, RefusesBundlesWithoutAPlainName) {
    for (const char *name : {"Snow", ".bundle", "..bundle", "Snow.bundle2", ".Snow.bundle"}) {
        MadeZip zip = emptyArchive();
        zip.add(std::string(name) + "/description.plist", propertyList(""));
        EXPECT_NE(problemOf(zip), "") << name;
    }
}

TEST(BundleArchive, RefusesLinksAndDevices) {
    EXPECT_THAT(problemWith({.name = "Snow.bundle/a", .bytes = "/etc/passwd", .mode = 0120777}),
                HasSubstr("Snow.bundle/a\" is a link"));
    for (const std::uint32_t mode : {0010644U, 0020644U, 0040755U, 0060644U, 0140644U}) {
        EXPECT_THAT(problemWith({.name = "Snow.bundle/a", .bytes = "", .mode = mode}),
                    HasSubstr("is neither a file nor a folder"))
            << mode;
    }
    EXPECT_NE(problemWith({.name = "Snow.bundle/a/", .bytes = "x"}), "");
}

TEST(BundleArchive, RefusesTwoFilesOfOneName) {
    EXPECT_NE(problemOf(archive().add("Snow.bundle/a", "1").add("Snow.bundle/a", "2")), "");
    for (const auto &[first, second] :
         {std::pair{"a.png", "A.PNG"}, {"d/a.png", "D/b.png"}, {"a", "a/b"}, {"A", "a/b"}}) {
        EXPECT_THAT(problemOf(archive()
                                  .add(std::string("Snow.bundle/") + first, "1")
                                  .add(std::string("Snow.bundle/") + second, "2")),
                    HasSubstr("would be one file on some systems"))
            << first;
    }
}

TEST(BundleArchive, RefusesEncryptedAndOddlyPackedEntries) {
    EXPECT_THAT(problemWith({.name = "Snow.bundle/a", .bytes = "xxxxxxxxxxxxx", .flags = 1}),
                HasSubstr("is encrypted"));
    for (const std::uint16_t method : {std::uint16_t{9}, std::uint16_t{12}, std::uint16_t{93}}) {
        EXPECT_THAT(problemWith({.name = "Snow.bundle/a", .bytes = "x", .method = method}),
                    HasSubstr("is packed in an unusual way"));
    }
}

TEST(BundleArchive, RefusesBombsByTheirSizesAlone) {
    const std::uint32_t large = BundleContents::kMaxBytes / 2 + 1;
    EXPECT_THAT(problemWith({.name = "Snow.bundle/a", .bytes = "x", .method = 8, .size = 1U << 31}),
                HasSubstr("is too large for a bundle"));
    EXPECT_THAT(
        problemOf(archive()
                      .add({.name = "Snow.bundle/a", .bytes = "x", .method = 8, .size = large})
                      .add({.name = "Snow.bundle/b", .bytes = "x", .method = 8, .size = large})),
        HasSubstr("more than 512 MiB"));
    const std::string packed = MadeZip::deflatedZeros(100'000);
    EXPECT_THAT(
        problemWith(
            {.name = "Snow.bundle/a", .bytes = packed, .method = 8, .size = 258 * 100'000 + 1}),
        HasSubstr("more than 50 times its size"));
}

TEST(BundleArchive, RefusesSizesThatAreNotTrue) {
    const std::string packed = MadeZip::deflatedZeros(100);
    const std::uint32_t sum = MadeZip::checksumOf(std::string(25801, '\0'));
    for (const std::uint32_t size : {0U, 1U, 25800U, 25802U, 1000000U}) {
        EXPECT_NE(problemWith({.name = "Snow.bundle/a",
                               .bytes = packed,
                               .method = 8,
                               .size = size,
                               .checksum = sum}),
                  "")
            << size;
    }
    for (const std::uint32_t size : {0U, 2U, 4U, 0xffffffffU}) {
        EXPECT_NE(problemWith({.name = "Snow.bundle/a", .bytes = "abc", .size = size}), "") << size;
        EXPECT_NE(problemWith({.name = "Snow.bundle/a", .bytes = "abc", .packedSize = size}), "")
            << size;
    }
    EXPECT_NE(problemWith({.name = "Snow.bundle/a", .bytes = "abc", .checksum = 7}), "");
    EXPECT_NE(problemWith({.name = "Snow.bundle/a", .bytes = "no deflate", .method = 8}), "");
}

TEST(BundleArchive, RefusesEntriesThatLieWithinOneAnother) {
    // Both entries are the same bytes of the file.
    MadeZip zip = archive();
    const auto place = static_cast<std::uint32_t>(zip.bytes().find("PK\1\2"));
    zip.add("Snow.bundle/a", "xxxx");
    zip.add({.name = "Snow.bundle/a", .bytes = "yyyy", .offset = place});
    EXPECT_NE(problemOf(zip), "");
    // An entry whose data hold another one.
    MadeZip inner;
    inner.add("Snow.bundle/b", "inside");
    const std::string quoted = inner.bytes().substr(0, inner.bytes().find("PK\1\2"));
    MadeZip outer = archive();
    const auto start = static_cast<std::uint32_t>(outer.bytes().find("PK\1\2"));
    outer.add("Snow.bundle/a", quoted);
    outer.add({.name = "Snow.bundle/b", .bytes = "inside", .offset = start + 30 + 13});
    EXPECT_NE(problemOf(outer), "");
}

TEST(BundleArchive, RefusesBytesThatBelongToNoEntry) {
    MadeZip before = archive();
    before.before = "#!/bin/sh\n";
    MadeZip between = archive();
    between.between = "hidden";
    MadeZip behind = archive();
    behind.behind = "x";
    MadeZip comment = archive();
    comment.comment = "hello";
    for (const MadeZip &zip : {before, between, behind, comment}) {
        EXPECT_NE(problemOf(zip), "");
    }
}

TEST(BundleArchive, RefusesAnEntryWithTwoNames) {
    EXPECT_NE(problemWith({.name = "Snow.bundle/a", .bytes = "x", .nameAtEntry = "Snow.bundle/b"}),
              "");
}

TEST(BundleArchive, RefusesACountThatIsNotTrue) {
    for (const std::uint16_t count : {0, 1, 3, 65535}) {
        MadeZip zip = archive();
        zip.count = count;
        EXPECT_NE(problemOf(zip), "") << count;
    }
}

TEST(BundleArchive, TakesNoLongTimeForAFileWithManyEnds) {
    MadeZip zip = archive();
    const std::string bytes = zip.bytes();
    const std::string end = bytes.substr(bytes.size() - 22, 20);
    // Each counts all that follows as its comment.
    for (std::size_t i = 2900; i > 0; --i) {
        zip.between += end + MadeZip::number(i * 22 + 200, 2);
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(problemOf(zip), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(BundleArchive, RefusesTooManyFiles) {
    MadeZip zip = archive();
    for (std::size_t i = 0; i < BundleContents::kMaxFiles; ++i) {
        zip.add("Snow.bundle/" + std::to_string(i), "");
    }
    EXPECT_THAT(problemOf(zip), HasSubstr("more files than a bundle may have"));
}

TEST(BundleArchive, RefusesOtherZipFiles) {
    MadeZip zip;
    zip.add("Snow.bundle/description.plist", propertyList("")).add("Snow.bundle/a", "x");
    EXPECT_NE(problemOf(zip), "");
    MadeZip other;
    other.add("mimetype", "application/epub+zip").add("Snow.bundle/a", "x");
    EXPECT_THAT(problemOf(other), HasSubstr("is a zip file, but no bundle in one file"));
    EXPECT_NE(problemOf(emptyArchive()), "");
}

TEST(BundleArchive, RefusesEveryFileThatIsCutShort) {
    const std::string bytes = archive().add("Snow.bundle/a", "abc").bytes();
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        EXPECT_THROW(BundleArchive::parse(bytesIn(bytes.substr(0, size)), "x"), HostError) << size;
    }
}

TEST(BundleArchive, NamesAFileThatCannotBeRead) {
    const TemporaryFolder folder;
    const auto problem = [](const std::string &path) -> std::string {
        try {
            BundleArchive::read(path);
        } catch (const HostError &error) {
            return error.what();
        }
        return "";
    };
    EXPECT_THAT(problem(folder.pathOf("none")), HasSubstr("none: cannot be read: No such file"));
    ASSERT_EQ(mkfifo(folder.pathOf("pipe").c_str(), 0600), 0);
    EXPECT_THAT(problem(folder.pathOf("pipe")), HasSubstr("is no file"));
    const std::string large = folder.write("large", "");
    fs::resize_file(large, BundleArchive::kMaxBytes + 1);
    EXPECT_THAT(problem(large), HasSubstr("is larger than a bundle may be"));
    EXPECT_THAT(problem(folder.write("text", "hello")),
                HasSubstr("is no bundle in one file, or is cut short"));
}

} // namespace
