#include "Animation/Common/DataTool.h"

#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

TEST(DataTool, ListsEntriesWhoseNamesEndInBundleWithOrWithoutADot) {
    const TemporaryFolder folder;
    folder.makeFolder("a.bundle");
    folder.makeFolder("b.bundle.txt");
    folder.makeFolder("notabundle");
    folder.makeFolder("c.Bundle");
    folder.makeFolder("bundle.d");
    const auto paths = DataTool::findDeskTopsBundlePathWithDirectory(folder.path());
    ASSERT_TRUE(paths);
    EXPECT_THAT(*paths, ElementsAre(folder.path() + "/a.bundle", folder.path() + "/notabundle"));
}

TEST(DataTool, ListsFilesAsWellAsFolders) {
    const TemporaryFolder folder;
    folder.write("file.bundle", "");
    EXPECT_THAT(*DataTool::findDeskTopsBundlePathWithDirectory(folder.path()),
                ElementsAre(folder.path() + "/file.bundle"));
}

TEST(DataTool, DoesNotLookIntoSubfolders) {
    const TemporaryFolder folder;
    folder.makeFolder("inner");
    folder.makeFolder("inner/a.bundle");
    EXPECT_THAT(*DataTool::findDeskTopsBundlePathWithDirectory(folder.path()), ElementsAre());
}

TEST(DataTool, DoublesTheSlashOfADirectoryThatEndsInOne) {
    const TemporaryFolder folder;
    folder.makeFolder("a.bundle");
    EXPECT_THAT(*DataTool::findDeskTopsBundlePathWithDirectory(folder.path() + "/"),
                ElementsAre(folder.path() + "//a.bundle"));
}

TEST(DataTool, ListsNothingOfAnEmptyDirectoryAndLogsNothing) {
    const LogRecorder log;
    const TemporaryFolder folder;
    const auto paths = DataTool::findDeskTopsBundlePathWithDirectory(folder.path());
    ASSERT_TRUE(paths);
    EXPECT_TRUE(paths->empty());
    EXPECT_THAT(log.lines(), ElementsAre());
}

TEST(DataTool, LogsOneErrorAndGivesNothingForADirectoryThatIsMissing) {
    const LogRecorder log;
    const TemporaryFolder folder;
    const std::string missing = folder.pathOf("missing");
    EXPECT_FALSE(DataTool::findDeskTopsBundlePathWithDirectory(missing));
    EXPECT_THAT(log.lines(), ElementsAre(testing::AllOf(testing::StartsWith("error: "),
                                                        testing::HasSubstr(missing))));
}

TEST(DataTool, LogsOneErrorForAFileInPlaceOfADirectory) {
    const LogRecorder log;
    const TemporaryFolder folder;
    EXPECT_FALSE(DataTool::findDeskTopsBundlePathWithDirectory(folder.write("file", "x")));
    EXPECT_THAT(log.lines(), ElementsAre(testing::StartsWith("error: ")));
}

TEST(DataTool, ReadsDescriptionValuesOfEveryTypeAsTheyStand) {
    const WallpaperBundle bundle;
    bundle.describe("<key>text</key><string>Blossom</string>"
                    "<key>number</key><integer>-7</integer>"
                    "<key>real</key><real>0.5</real>"
                    "<key>yes</key><true/>"
                    "<key>list</key><array><integer>1</integer></array>");
    const auto read = [&](const char *key) {
        return DataTool::readDeskTopDescriptionWithKey_fromBundleFile(key, bundle.folder().path());
    };
    EXPECT_EQ(read("text"), PropertyList("Blossom"));
    EXPECT_EQ(read("number"), PropertyList(-7));
    EXPECT_EQ(read("real"), PropertyList(0.5));
    EXPECT_EQ(read("yes"), PropertyList(true));
    EXPECT_EQ(read("list"), PropertyList(PropertyList::Array{PropertyList(1)}));
}

TEST(DataTool, TellsKeysApartByCaseAndBlanks) {
    const WallpaperBundle bundle;
    bundle.describe("<key>name Library</key><string>x</string>");
    for (const char *key : {"name library", "nameLibrary", "name  Library", "name Library ", ""}) {
        EXPECT_FALSE(
            DataTool::readDeskTopDescriptionWithKey_fromBundleFile(key, bundle.folder().path()))
            << key;
    }
}

TEST(DataTool, GivesNoDescriptionValueAndNoMessageWhenAnythingIsMissing) {
    const LogRecorder log;
    const WallpaperBundle bundle;
    const auto read = [](const std::string &path) {
        return DataTool::readDeskTopDescriptionWithKey_fromBundleFile("key", path);
    };
    EXPECT_FALSE(read(bundle.folder().pathOf("missing")));
    EXPECT_FALSE(read(bundle.folder().write("file", "")));
    EXPECT_FALSE(read(bundle.folder().path())) << "no description";
    bundle.folder().write("description.plist", "no property list");
    EXPECT_FALSE(read(bundle.folder().path()));
    bundle.folder().write("description.plist", "<plist version=\"1.0\"><array/></plist>");
    EXPECT_FALSE(read(bundle.folder().path()));
    bundle.describe("<key>other</key><string>x</string>");
    EXPECT_FALSE(read(bundle.folder().path()));
    EXPECT_THAT(log.lines(), ElementsAre());
}

TEST(DataTool, ReadsTheThumbnail) {
    const WallpaperBundle bundle;
    bundle.addPicture("thumbnail.png", 12, 34);
    const auto picture = DataTool::readDeskTopThumbnailImageFromBundleFile(bundle.folder().path());
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->size(), CGSizeMake(12, 34));
}

TEST(DataTool, GivesNoThumbnailWhenItIsMissingOrNoPicture) {
    const LogRecorder log;
    const WallpaperBundle bundle;
    const auto read = DataTool::readDeskTopThumbnailImageFromBundleFile;
    EXPECT_FALSE(read(bundle.folder().path()));
    EXPECT_FALSE(read(bundle.folder().pathOf("missing")));
    bundle.folder().write("thumbnail.png", "no picture");
    EXPECT_FALSE(read(bundle.folder().path()));
    EXPECT_THAT(log.lines(), ElementsAre());
}

} // namespace
