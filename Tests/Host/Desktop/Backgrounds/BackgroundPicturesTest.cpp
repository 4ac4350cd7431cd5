#include "Host/Desktop/Backgrounds/BackgroundPictures.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Lumivera;

namespace {

class BackgroundPicturesTest : public ::testing::Test {
  protected:
    void set(const std::string &output, DeviceRect area, std::uint32_t color) {
        SharedBuffers picture(static_cast<unsigned>(area.width()),
                              static_cast<unsigned>(area.height()), 1);
        std::fill_n(picture.pixels(0), area.width() * area.height(), color);
        _pictures.set(output, area, picture);
    }

    Retained<UIImage> screen() { return PictureFile::read(_pictures.pictures(true).screen); }

    const TemporaryFolder _temporary;
    const StateFolder _folder{_temporary.path()};
    BackgroundPictures _pictures{_folder};
};

TEST_F(BackgroundPicturesTest, PutTheOutputsAtTheirPlacesOnTheScreen) {
    set("right", {2, 1, 4, 3}, 0xFF0000FF);
    set("left", {0, 0, 2, 2}, 0xFFFF0000);
    const auto image = screen();
    ASSERT_EQ(image->bitmap()->width(), 4U);
    ASSERT_EQ(image->bitmap()->height(), 3U);
    const std::vector<std::uint32_t> expected = {
        0xFFFF0000, 0xFFFF0000, 0xFF000000, 0xFF000000, //
        0xFFFF0000, 0xFFFF0000, 0xFF0000FF, 0xFF0000FF, //
        0xFF000000, 0xFF000000, 0xFF0000FF, 0xFF0000FF,
    };
    EXPECT_EQ(std::vector(image->bitmap()->pixels(), image->bitmap()->pixels() + 12), expected);
}

TEST_F(BackgroundPicturesTest, UseTheOnlyOutputsPictureForTheScreen) {
    set("only", {0, 0, 2, 2}, 0xFFFF0000);
    const DesktopPictures pictures = _pictures.pictures(true);
    EXPECT_EQ(pictures.screen, pictures.outputs[0].path);
}

TEST_F(BackgroundPicturesTest, MakeNoPictureForTheScreenUnlessItIsWanted) {
    set("only", {1, 0, 3, 2}, 0xFFFF0000);
    EXPECT_EQ(_pictures.pictures(false).screen, "");
    EXPECT_EQ(screen()->bitmap()->width(), 3U);
}

TEST_F(BackgroundPicturesTest, TellPicturesOfTheSameBytesApartByTheirWidth) {
    set("a", {0, 0, 2, 3}, 0xFFFF0000);
    const std::string first = _pictures.pictures(false).outputs[0].path;
    set("a", {0, 0, 3, 2}, 0xFFFF0000);
    EXPECT_NE(_pictures.pictures(false).outputs[0].path, first);
}

TEST_F(BackgroundPicturesTest, NameFilesPlainlyAfterAnyOutput) {
    set("../a b\n", {0, 0, 2, 2}, 0xFFFF0000);
    const std::string path = _pictures.pictures(false).outputs[0].path;
    EXPECT_TRUE(path.starts_with(_temporary.path() + "/___a_b_-")) << path;
}

TEST_F(BackgroundPicturesTest, KeepFilesThatASettingNames) {
    const std::string named = _temporary.write("named.png", "x");
    const std::string other = _temporary.write("other.png", "x");
    const std::string text = _temporary.write("text.kept", "x");
    set("a", {0, 0, 2, 2}, 0xFFFF0000);
    _pictures.removeOthers({"'" + fileURI(named) + "'"});
    EXPECT_TRUE(std::filesystem::exists(named));
    EXPECT_FALSE(std::filesystem::exists(other));
    EXPECT_TRUE(std::filesystem::exists(text));
    EXPECT_TRUE(std::filesystem::exists(_pictures.pictures(false).outputs[0].path));
}

TEST_F(BackgroundPicturesTest, KnowTheirOwnFilesInEveryForm) {
    const TemporaryFolder temporary;
    const StateFolder folder(temporary.makeFolder("é ü"));
    const BackgroundPictures pictures(folder);
    EXPECT_TRUE(pictures.isInFolder(folder.path() + "/a.png"));
    EXPECT_TRUE(pictures.isInFolder("'" + fileURI(folder.path() + "/a.png") + "'"));
    EXPECT_FALSE(pictures.isInFolder(folder.path() + "-else/a.png"));
    EXPECT_FALSE(pictures.isInFolder(""));
}

TEST_F(BackgroundPicturesTest, NameTheFileThatCannotBeWritten) {
    const StateFolder folder(_temporary.path() + "/missing");
    BackgroundPictures pictures(folder);
    SharedBuffers picture(2, 2, 1);
    EXPECT_THROW(pictures.set("a", {0, 0, 2, 2}, picture), HostError);
    EXPECT_TRUE(pictures.isEmpty());
}

} // namespace
