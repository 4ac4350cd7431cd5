#include "Animation/Common/ImageSet.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <sys/resource.h>

namespace fs = std::filesystem;
using ::testing::HasSubstr;

namespace {

using Pixels = std::vector<std::uint32_t>;

constexpr std::uint32_t kRed = 0xffff0000, kGreen = 0xff00ff00, kBlue = 0xff0000ff;
constexpr std::uint32_t kGrey = 0x80404040, kBlack = 0xff000000, kWhite = 0xffffffff;

class ImageCommand : public ::testing::Test {
  protected:
    ProgramRun image(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "image");
        return ProgramRun(arguments);
    }

    std::string picture(const std::string &name, NSUInteger width, NSUInteger height,
                        const Pixels &pixels) {
        return _folder.write(name, encodePNG(pixels.data(), width, height, width, 6));
    }

    std::string fourCorners(const std::string &name = "in.png") {
        return picture(name, 2, 2, {kRed, kGreen, kBlue, kGrey});
    }

    Pixels read(const std::string &path) {
        const auto image = SpriteExtend::imageWithContentsOfFile_dencrypt(path, false);
        if (!image) {
            return {};
        }
        const CGImage &bitmap = *image->bitmap();
        return {bitmap.pixels(), bitmap.pixels() + bitmap.width() * bitmap.height()};
    }

    /// The four corners after the operation.
    Pixels result(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin() + 1, fourCorners());
        arguments.insert(arguments.end(), {"-o", out()});
        const auto run = image(arguments);
        EXPECT_EQ(run.status(), 0) << run.errors();
        EXPECT_EQ(run.output() + run.errors(), "");
        return read(out());
    }

    std::string out() const { return _folder.pathOf("out.png"); }

    void expectRefusal(const ProgramRun &run, int status, const std::string &words) {
        EXPECT_EQ(run.status(), status);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr(words));
        EXPECT_FALSE(fs::exists(out()));
    }

    TemporaryFolder _folder;
};

TEST_F(ImageCommand, Tints) {
    EXPECT_EQ(result({"tint", "yellow"}), (Pixels{kRed, kGreen, kBlack, 0xc0808020}));
}

TEST_F(ImageCommand, Overlays) {
    EXPECT_EQ(result({"overlay", "black"}), (Pixels{kBlack, kBlack, kBlack, 0xc0202020}));
}

TEST_F(ImageCommand, Masks) {
    const std::string mask = picture("mask.png", 2, 1, {kBlack, kWhite});
    EXPECT_EQ(result({"mask", mask}), (Pixels{kRed, 0, kBlue, 0}));
}

TEST_F(ImageCommand, Clips) {
    EXPECT_EQ(result({"clip", "1x2+1+0"}), (Pixels{kGreen, kGrey}));
    EXPECT_EQ(result({"clip", "2x2-1-1"}), (Pixels{kRed}));
}

TEST_F(ImageCommand, TurnsGrey) {
    EXPECT_EQ(result({"grey"}), (Pixels{0xff363636, 0xffb6b6b6, 0xff121212, 0xff404040}));
    const std::string black = picture("black.png", 2, 1, {kBlack, kWhite});
    EXPECT_EQ(image({"grey", black, "--clear-black", "-o", out()}).status(), 0);
    EXPECT_EQ(read(out()), (Pixels{0, kWhite}));
}

TEST_F(ImageCommand, Combines) {
    const std::string top = picture("top.png", 2, 2, {0, kWhite, 0, 0});
    EXPECT_EQ(result({"combine", top}), (Pixels{kRed, kWhite, kBlue, kGrey}));
}

TEST_F(ImageCommand, RoundsCornersToACircleAtMost) {
    const std::string square = picture("square.png", 10, 10, Pixels(100, kRed));
    EXPECT_EQ(image({"round", square, "0", "-o", out()}).status(), 0);
    EXPECT_EQ(read(out()), Pixels(100, kRed));
    EXPECT_EQ(image({"round", square, "5", "-o", out()}).status(), 0);
    const Pixels circle = read(out());
    EXPECT_EQ(circle[0], 0u);
    EXPECT_EQ(circle[55], kRed);
    EXPECT_EQ(image({"round", square, "1000", "-o", out()}).status(), 0);
    EXPECT_EQ(read(out()), circle);
}

TEST_F(ImageCommand, ScramblesAFileAndBringsTheSameBytesBack) {
    const std::string in = fourCorners(), hidden = _folder.pathOf("hidden.bin");
    ASSERT_EQ(image({"scramble", in, "-o", hidden}).status(), 0);
    EXPECT_EQ(read(hidden), Pixels());
    EXPECT_TRUE(SpriteExtend::imageWithContentsOfFile_dencrypt(hidden, true));
    ASSERT_EQ(image({"unscramble", hidden, "-o", out()}).status(), 0);
    EXPECT_EQ(contentsOf(out()), contentsOf(in));
}

TEST_F(ImageCommand, WorksOnEachPictureOfAFolder) {
    const std::string folder = _folder.makeFolder("in");
    fourCorners("in/a.png");
    fourCorners("in/b.PNG");
    _folder.write("in/notes.txt", "no picture");
    _folder.write("in/.hidden.png", "no picture");
    const std::string to = _folder.pathOf("new/out");
    const auto run = image({"grey", folder, "-o", to});
    EXPECT_EQ(run.status(), 0) << run.errors();
    EXPECT_EQ(read(to + "/a.png").size(), 4u);
    EXPECT_EQ(read(to + "/b.png").size(), 4u);
    EXPECT_EQ(std::distance(fs::directory_iterator(to), fs::directory_iterator()), 2);
}

TEST_F(ImageCommand, ScramblesAFolderUnderTheSameNames) {
    const std::string folder = _folder.makeFolder("in");
    fourCorners("in/a.png");
    const std::string hidden = _folder.pathOf("hidden"), back = _folder.pathOf("back");
    ASSERT_EQ(image({"scramble", folder, "-o", hidden}).status(), 0);
    ASSERT_EQ(image({"unscramble", hidden, "-o", back}).status(), 0);
    EXPECT_EQ(contentsOf(back + "/a.png"), contentsOf(folder + "/a.png"));
}

TEST_F(ImageCommand, RefusesAFolderThatWouldOverwriteItself) {
    const std::string folder = _folder.makeFolder("in");
    const std::string file = fourCorners("in/a.png");
    const std::string before = contentsOf(file);
    expectRefusal(image({"grey", folder, "-o", folder + "/../in"}), 1, "itself");
    EXPECT_EQ(contentsOf(file), before);
}

TEST_F(ImageCommand, RefusesPicturesThatWouldBecomeTheSameFile) {
    const std::string folder = _folder.makeFolder("in");
    fourCorners("in/a.png");
    fourCorners("in/a.webp");
    expectRefusal(image({"grey", folder, "-o", out()}), 1, "a.png");
}

TEST_F(ImageCommand, RefusesAFolderWithoutPicturesAndAFileForAFolder) {
    const std::string folder = _folder.makeFolder("in");
    expectRefusal(image({"grey", folder, "-o", out()}), 1, "has no pictures");
    fourCorners("in/a.png");
    expectRefusal(image({"grey", folder, "-o", _folder.write("file", "x")}), 1, "file");
}

TEST_F(ImageCommand, SaysWhatIsWrongWithAPicture) {
    expectRefusal(image({"grey", _folder.pathOf("none.png"), "-o", out()}), 1, "none.png");
    expectRefusal(image({"grey", _folder.write("text.png", "text"), "-o", out()}), 1, "text.png");
    expectRefusal(image({"grey", _folder.write("empty.png", ""), "-o", out()}), 1, "empty.png");
    const std::string whole = contentsOf(fourCorners());
    const std::string part = _folder.write("part.png", whole.substr(0, whole.size() / 2));
    expectRefusal(image({"grey", part, "-o", out()}), 1, "part.png");
    expectRefusal(image({"scramble", part, "-o", out()}), 1, "part.png");
    expectRefusal(image({"unscramble", fourCorners(), "-o", out()}), 1, "no scrambled picture");
}

TEST_F(ImageCommand, RefusesAFileThatClaimsToBeHugeWithoutTakingItsMemory) {
    PNGBuilder::Header header{100000, 100000};
    const auto bytes = PNGBuilder(header).chunk("IDAT", {0x78, 0x01}).chunk("IEND", {}).finish();
    expectRefusal(image({"tint", _folder.write("bomb.png", bytes), "red", "-o", out()}), 1,
                  "too large");
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    EXPECT_LT(usage.ru_maxrss, 1 << 20) << "KiB";
}

TEST_F(ImageCommand, RefusesAMaskWithColorOrAlpha) {
    expectRefusal(image({"mask", fourCorners(), fourCorners("mask.png"), "-o", out()}), 1,
                  "mask.png: is no mask");
}

TEST_F(ImageCommand, RefusesARectangleWithNothingInside) {
    expectRefusal(image({"clip", fourCorners(), "5x5+7+0", "-o", out()}), 1, "nothing inside");
}

TEST_F(ImageCommand, RefusesToWriteAnythingButPNG) {
    const auto run = image({"grey", fourCorners(), "-o", _folder.pathOf("out.jpg")});
    expectRefusal(run, 2, ".png");
    EXPECT_FALSE(fs::exists(_folder.pathOf("out.jpg")));
}

TEST_F(ImageCommand, TellsWrongUsageInOneLine) {
    for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
             {"tint", fourCorners(), "nocolour", "-o", out()},
             {"tint", fourCorners(), "-o", out()},
             {"tint", fourCorners(), "red"},
             {"clip", fourCorners(), "5x5", "-o", out()},
             {"clip", fourCorners(), "0x5+0+0", "-o", out()},
             {"clip", fourCorners(), "5x5+0+0+0", "-o", out()},
             {"clip", fourCorners(), "99999999999x5+0+0", "-o", out()},
             {"round", fourCorners(), "-1", "-o", out()},
             {"round", fourCorners(), "nan", "-o", out()},
             {"blur", fourCorners(), "-o", out()},
             {}}) {
        const auto run = image(arguments);
        EXPECT_EQ(run.status(), 2) << ::testing::PrintToString(arguments) << run.errors();
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_FALSE(fs::exists(out()));
    }
}

TEST_F(ImageCommand, KnowsAPictureByItsContents) {
    const std::string webp =
        contentsOf(LUMIVERA_SOURCE_DIR "/Tests/Data/Pictures/small-lossless.webp");
    EXPECT_EQ(image({"grey", _folder.write("false.png", webp), "-o", out()}).status(), 0);
    EXPECT_FALSE(read(out()).empty());
}

TEST_F(ImageCommand, DescribesEveryOperation) {
    const std::string help = image({"--help"}).output();
    for (const char *operation : {"tint", "overlay", "mask", "clip", "grey", "combine", "round",
                                  "scramble", "unscramble"}) {
        EXPECT_THAT(help, HasSubstr(operation));
        const auto run = image({operation, "--help"});
        EXPECT_EQ(run.status(), 0);
        EXPECT_THAT(run.output(), HasSubstr("OUT"));
    }
}

} // namespace
