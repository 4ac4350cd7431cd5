#include "Host/Wallpapers/BundleContents.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using namespace Lumivera;
namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

using File = BundleContents::File;

std::vector<std::uint8_t> bytesIn(const std::string &text) { return {text.begin(), text.end()}; }

BundleContents bundleOf(const std::string &entries, std::vector<File> files = {}) {
    files.push_back({"description.plist", bytesIn(propertyList(entries))});
    return {"origin", "Snow.bundle", std::move(files)};
}

template <typename Work> std::string problemOf(const Work &work) {
    try {
        work();
    } catch (const HostError &error) {
        return error.what();
    }
    return "";
}

std::vector<std::string> pathsIn(const BundleContents &bundle) {
    std::vector<std::string> paths;
    for (const File &file : bundle.files()) {
        paths.push_back(file.path);
    }
    return paths;
}

TEST(BundleContents, TellWhatTheDescriptionSays) {
    const BundleContents bundle = bundleOf("<key>name</key><string>First Snow</string>"
                                           "<key>author</key><string>Anna</string>"
                                           "<key>license</key><string>CC0-1.0</string>");
    EXPECT_EQ(bundle.title(), "First Snow");
    EXPECT_EQ(bundle.author(), "Anna");
    EXPECT_EQ(bundle.license(), "CC0-1.0");
    EXPECT_EQ(bundleOf("").title(), "Snow");
    EXPECT_EQ(bundleOf("<key>author</key><integer>7</integer>").author(), "");
}

TEST(BundleContents, HaveCodeWhereALibraryIsNamedOrAProgramLies) {
    EXPECT_THAT(bundleOf("").code(), IsEmpty());
    const std::string own =
        "<key>name Library</key><string>libLumiveraLiveWallpaper.dylib</string>";
    EXPECT_THAT(bundleOf(own).code(), IsEmpty());
    EXPECT_THAT(bundleOf(own, {{"libLumiveraLiveWallpaper.dylib", bytesIn("x")}}).code(),
                ElementsAre("libLumiveraLiveWallpaper.dylib"));
    EXPECT_THAT(
        bundleOf("<key>name Library</key><string>s.txt</string>", {{"s.txt", bytesIn("x")}}).code(),
        ElementsAre("s.txt"));
    EXPECT_THAT(bundleOf("", {{"d/petal.png", bytesIn("\x7f"
                                                      "ELF and so on")}})
                    .code(),
                ElementsAre("d/petal.png"));
}

TEST(BundleContents, LackNeitherDescriptionNorLibrary) {
    EXPECT_THAT(problemOf([] { BundleContents("origin", "Snow.bundle", {}); }),
                HasSubstr("origin: holds no description.plist"));
    EXPECT_THAT(problemOf([] {
                    BundleContents("origin", "Snow.bundle", {{"description.plist", {1, 2}}});
                }),
                HasSubstr("its description.plist is damaged"));
    EXPECT_THAT(problemOf([] { bundleOf("<key>name Library</key><string>s.so</string>"); }),
                HasSubstr("lacks the library \"s.so\""));
    EXPECT_THAT(problemOf([] { bundleOf("<key>name Library</key><string>../s.so</string>"); }),
                HasSubstr("no plain file name"));
}

TEST(BundleContents, ReadAFolderButNoHiddenFiles) {
    const TemporaryFolder folder;
    const std::string path = bundleWithDescription(folder.path(), propertyList(""));
    fs::create_directories(path + "/petals/small");
    fs::create_directories(path + "/.git");
    for (const char *name :
         {"petals/small/a.png", "b.png", ".git/config", ".DS_Store", "petals/.x"}) {
        folder.write("Made.bundle/" + std::string(name), "x");
    }
    const BundleContents bundle = BundleContents::readFolder(path + "/");
    EXPECT_EQ(bundle.name(), "Made.bundle");
    EXPECT_THAT(pathsIn(bundle), ElementsAre("b.png", "description.plist", "petals/small/a.png"));
}

TEST(BundleContents, LeaveTheLinkToTheProgramsOwnLibraryOut) {
    const TemporaryFolder folder;
    const std::string path = bundleWithDescription(folder.path(), propertyList(""));
    fs::create_symlink("/nowhere", path + "/libLumiveraLiveWallpaper.dylib");
    EXPECT_THAT(pathsIn(BundleContents::readFolder(path)), ElementsAre("description.plist"));
    fs::create_symlink("/etc/passwd", path + "/petal.png");
    EXPECT_THAT(problemOf([&] { BundleContents::readFolder(path); }), HasSubstr("is a link"));
}

TEST(BundleContents, AreNotOfAFolderWithAnotherName) {
    const TemporaryFolder folder;
    const std::string path = folder.makeFolder("Snow");
    folder.write("Snow/description.plist", propertyList(""));
    EXPECT_THAT(problemOf([&] { BundleContents::readFolder(path); }),
                HasSubstr("name the folder as in Snow.bundle"));
}

TEST(BundleContents, HaveALimitOfBytes) {
    const TemporaryFolder folder;
    const std::string path = bundleWithDescription(folder.path(), propertyList(""));
    fs::resize_file(folder.write("Made.bundle/large", ""), BundleContents::kMaxBytes + 1);
    EXPECT_THAT(problemOf([&] { BundleContents::readFolder(path); }), HasSubstr("512 MiB"));
}

TEST(BundleContents, CanBeRenamed) {
    BundleContents bundle = bundleOf("");
    bundle.rename("Ice");
    EXPECT_EQ(bundle.name(), "Ice.bundle");
    bundle.rename("Rain.bundle");
    EXPECT_EQ(bundle.name(), "Rain.bundle");
    for (const char *name : {"", "../Ice", "a/b", ".Ice", "a\nb"}) {
        EXPECT_THROW(bundle.rename(name), UsageError) << name;
    }
}

} // namespace
