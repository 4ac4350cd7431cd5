#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/CoreGraphics/EmbeddingPictures.h"
#include "Tests/Platform/CoreGraphics/ExifBuilder.h"
#include "Tests/Platform/CoreGraphics/JPEGBuilder.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kBlue = 0xff0000ff;

/// A photo that a camera took while it was held sideways.
Bytes sidewaysPhoto() {
    Bytes exif;
    appendText(exif, std::string_view("Exif\0\0", 6));
    const Bytes content = exifWithOrientation(6, true);
    exif.insert(exif.end(), content.begin(), content.end());
    return withSegment(samplePicture("quarters-444.jpg"), 0xe1, exif);
}

Bytes bluePicture(unsigned width, unsigned height, bool isClear = false) {
    return PNGBuilder({width, height})
        .pixels([=](auto, auto, int channel) {
            return channel == 2 || (channel == 3 && !isClear) ? 255u : 0u;
        })
        .finish();
}

Retained<CGImage> pictureAt(const std::string &path) {
    const auto bytes = readFile(path, 64 << 20);
    return bytes ? CGImageCreateWithData(*bytes) : nullptr;
}

class NewPhoto : public ::testing::Test {
  protected:
    NewPhoto() : _photo(_folder.write("photo.jpg", sidewaysPhoto())) {}

    ProgramRun make(const std::vector<std::string> &more) const {
        std::vector<std::string> arguments{"new", _out, "--background", _photo};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return ProgramRun(arguments);
    }

    /// The command fails with one line and leaves nothing behind.
    void expectRefused(const std::vector<std::string> &arguments, const std::string &words,
                       int status = 1) const {
        const auto before = names();
        const ProgramRun run(arguments);
        EXPECT_EQ(run.status(), status);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr(words));
        EXPECT_EQ(names(), before);
    }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto &entry : fs::directory_iterator(_folder.path())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    Retained<CGImage> inBundle(const std::string &name) const {
        return pictureAt(_out + "/" + name);
    }

    std::string description() const { return contentsOf(_out + "/description.plist"); }

    TemporaryFolder _folder;
    const std::string _photo;
    const std::string _out = _folder.pathOf("My phöto.bundle");
};

TEST_F(NewPhoto, MakesAWallpaperOfAPhotoThatWasTakenSideways) {
    const ProgramRun run = make({});
    ASSERT_EQ(run.status(), 0) << run.errors();
    EXPECT_THAT(run.output(), HasSubstr("My phöto.bundle is ready"));
    const auto background = inBundle("lumivera_background_.png");
    ASSERT_TRUE(background);
    EXPECT_EQ(background->width(), 32u) << "never larger";
    EXPECT_LE(differenceOf(pixelAt(*background, 8, 8), 0xff0000ff), 6);
    EXPECT_LE(differenceOf(pixelAt(*background, 24, 8), 0xffff0000), 6);
    EXPECT_LE(differenceOf(pixelAt(*background, 8, 24), 0xffffffff), 6);
    EXPECT_LE(differenceOf(pixelAt(*background, 24, 24), 0xff00ff00), 6);
    EXPECT_THAT(description(), HasSubstr("<string>My phöto</string>"));
    for (const auto &entry : fs::directory_iterator(_out)) {
        EXPECT_TRUE(entry.is_regular_file() && !entry.is_symlink()) << entry.path();
        EXPECT_NE(entry.path().extension(), ".part");
    }
    EXPECT_EQ(names(), (std::vector<std::string>{"My phöto.bundle", "photo.jpg"}));
}

TEST_F(NewPhoto, MakesABundleThatCanBeShownAndListed) {
    ASSERT_EQ(make({"--count", "7", "--speed", "3"}).status(), 0);
    const std::string trace = _folder.pathOf("trace");
    const ProgramRun render({"render", _out, "--frames", "1", "--trace", trace});
    EXPECT_EQ(render.status(), 0) << render.errors();
    EXPECT_THAT(contentsOf(trace), HasSubstr("lumivera_petal"));
    EXPECT_THAT(ProgramRun({"list", _folder.path()}).output(),
                ::testing::ContainsRegex("My phöto +- +- +7 +3 "));
}

TEST_F(NewPhoto, ShowsPetalsOnTheThumbnails) {
    _folder.write("blue.png", bluePicture(64, 64));
    const ProgramRun run(
        {"new", _out, "--background", _folder.pathOf("blue.png"), "--count", "200"});
    ASSERT_EQ(run.status(), 0) << run.errors();
    for (const unsigned density : {1u, 2u, 3u}) {
        const auto image = inBundle(
            density == 1 ? "thumbnail.png" : "thumbnail@" + std::to_string(density) + "x.png");
        ASSERT_TRUE(image);
        EXPECT_EQ(image->width(), 180u * density);
        EXPECT_EQ(image->height(), 240u * density);
        const std::uint32_t *const end = image->pixels() + image->width() * image->height();
        const auto petals =
            std::count_if(image->pixels(), end, [](std::uint32_t pixel) { return pixel != kBlue; });
        EXPECT_GT(petals, (end - image->pixels()) / 50);
        EXPECT_GT(std::count(image->pixels(), end, kBlue), (end - image->pixels()) / 10);
    }
}

TEST_F(NewPhoto, WritesWhatPeopleAreTold) {
    ASSERT_EQ(make({"--name", "A <b> & c", "--author", "Zoë", "--summary", "Sea.", "--license",
                    "CC0-1.0"})
                  .status(),
              0);
    const auto read = NSDictionary::dictionaryWithContentsOfFile(_out + "/description.plist");
    ASSERT_TRUE(read);
    EXPECT_EQ(*read->objectForKey("name")->text(), "A <b> & c");
    EXPECT_EQ(*read->objectForKey("author")->text(), "Zoë");
    EXPECT_EQ(*read->objectForKey("summary")->text(), "Sea.");
    EXPECT_EQ(*read->objectForKey("license")->text(), "CC0-1.0");
    EXPECT_FALSE(read->objectForKey("name Library"));
}

TEST_F(NewPhoto, MakesALargePhotoSmallerInLittleMemory) {
    const std::string photo = _folder.write("huge.jpg", JPEGBuilder::halves(12000, 9008));
    const int output = memfd_create("output", MFD_CLOEXEC);
    const pid_t process = ProgramRun::begin({"new", _out, "--background", photo}, {}, output, 2);
    int status = -1;
    rusage usage{};
    ASSERT_EQ(wait4(process, &status, 0, &usage), process);
    close(output);
    EXPECT_EQ(status, 0);
    if (kIsMemoryLimited) {
        EXPECT_LT(usage.ru_maxrss / 1024, 300) << "the whole picture would take 412 MiB";
    }
    const auto background = inBundle("lumivera_background_.png");
    ASSERT_TRUE(background);
    EXPECT_EQ(background->width(), 3840u);
    EXPECT_EQ(background->height(), 2883u);
    EXPECT_LE(differenceOf(pixelAt(*background, 1900, 5), 0xff1c1c1c), 2);
    EXPECT_LE(differenceOf(pixelAt(*background, 1940, 5), 0xffe4e4e4), 2);
}

TEST_F(NewPhoto, CoversAScreenWithAPanorama) {
    const std::string photo = _folder.write("wide.jpg", JPEGBuilder::halves(1600, 320));
    ASSERT_EQ(ProgramRun({"new", _out, "--background", photo, "--width", "320"}).status(), 0);
    const auto background = inBundle("lumivera_background_.png");
    ASSERT_TRUE(background);
    EXPECT_EQ(background->width(), 900u);
    EXPECT_EQ(background->height(), 180u) << "as high as a screen of 16:9 that is so wide";
}

TEST_F(NewPhoto, TintsTheBackgroundAsTheHostDoes) {
    _folder.write(
        "grey.png",
        PNGBuilder({16, 16, 8, PNGBuilder::Grey}).pixels([](auto...) { return 128u; }).finish());
    ASSERT_EQ(ProgramRun({"new", _out, "--background", _folder.pathOf("grey.png"), "--tint", "red"})
                  .status(),
              0);
    const auto background = inBundle("lumivera_background_.png");
    ASSERT_TRUE(background);
    EXPECT_LE(differenceOf(pixelAt(*background, 8, 8), 0xff800000), 2);
}

TEST_F(NewPhoto, TakesThePetalsOfABundleAsTheyAre) {
    for (const std::string &petals : {std::string("Maple"), shippedBundle("Maple.bundle")}) {
        ASSERT_EQ(make({"--petals", petals, "--force"}).status(), 0);
        for (const char *name : {"/lumivera_flower1.png", "/lumivera_petal4@3x.png"}) {
            EXPECT_EQ(contentsOf(_out + name), contentsOf(shippedBundle("Maple.bundle") + name));
        }
    }
}

TEST_F(NewPhoto, MakesPetalsOfPictures) {
    _folder.write("flake.png", bluePicture(360, 180));
    _folder.write("dot.png", bluePicture(10, 10));
    const ProgramRun run =
        make({"--petals", _folder.pathOf("flake.png"), _folder.pathOf("dot.png")});
    ASSERT_EQ(run.status(), 0) << run.errors();
    EXPECT_THAT(run.errors(), HasSubstr("flake.png: has no transparent parts"));
    const auto size = [this](const std::string &name) {
        const auto image = inBundle(name);
        return image ? std::to_string(image->width()) + "x" + std::to_string(image->height())
                     : "none";
    };
    EXPECT_EQ(size("lumivera_flower1.png"), "36x18");
    EXPECT_EQ(size("lumivera_flower1@2x.png"), "72x36");
    EXPECT_EQ(size("lumivera_flower1@3x.png"), "108x54");
    EXPECT_EQ(size("lumivera_flower2.png"), "10x10") << "never larger";
    EXPECT_EQ(size("lumivera_flower2@2x.png"), "none");
    EXPECT_EQ(size("lumivera_petal4.png"), "36x18") << "used again";
}

TEST_F(NewPhoto, RefusesPetalsThatAreNone) {
    const std::string text = _folder.write("petal.png", "no picture");
    const std::string empty = _folder.makeFolder("Empty.bundle");
    const auto with = [this](const std::string &petals) {
        return std::vector<std::string>{"new", _out, "--background", _photo, "--petals", petals};
    };
    expectRefused(with(text), "petal.png: is damaged, too large or no picture");
    expectRefused(with(_folder.pathOf("none.png")), "none.png: cannot be read");
    expectRefused(with(empty), "lumivera_flower1.png: is missing; give a bundle that has petals");
    expectRefused(with("Nowhere"), "Nowhere: there is no such bundle");
    auto many = with(text);
    many.insert(many.end(), 7, text);
    expectRefused(many, "7 pictures of petals at most", 2);
}

TEST_F(NewPhoto, RefusesAPhotoThatIsNone) {
    const std::string text = _folder.write("text.jpg", "This is a text file.");
    expectRefused({"new", _out, "--background", text},
                  "text.jpg: is damaged, too large or no picture");
    expectRefused({"new", _out, "--background", _folder.pathOf("none.jpg")},
                  "none.jpg: cannot be read");
    expectRefused({"new", _out, "--background", _folder.path()}, "cannot be read");
    expectRefused({"new", _out, "--background", "/dev/zero"}, "/dev/zero: cannot be read");
    expectRefused({"new", _out}, "give --background PHOTO, or --code", 2);
}

TEST_F(NewPhoto, ReplacesABundleOnlyWhenItIsTold) {
    ASSERT_EQ(make({"--name", "First"}).status(), 0);
    expectRefused({"new", _out, "--background", _photo}, "is there already");
    EXPECT_THAT(description(), HasSubstr("First"));
    ASSERT_EQ(make({"--force"}).status(), 0);
    EXPECT_THAT(description(), HasSubstr("My phöto"));
    const std::string other = _folder.makeFolder("Other.bundle");
    expectRefused({"new", other, "--background", _photo, "--force"}, "and is no bundle");
    const std::string text = _folder.write("broken.jpg", "x");
    expectRefused({"new", _out, "--background", text, "--force"}, "no picture");
    EXPECT_THAT(description(), HasSubstr("My phöto")) << "the old one stays";
}

TEST_F(NewPhoto, RefusesPlacesAndNamesThatMakeNoSense) {
    expectRefused({"new", _folder.pathOf("Out"), "--background", _photo}, "let OUT end in .bundle",
                  2);
    expectRefused({"new", _folder.pathOf("none/Out.bundle"), "--background", _photo},
                  "Out.bundle: cannot be made: No such file");
    expectRefused({"new", _out, "--background", _photo, "--name", "a\nb"}, "control characters", 2);
    expectRefused({"new", _out, "--background", _photo, "--author", "\xff"}, "no UTF-8", 2);
    expectRefused({"new", _out, "--background", _photo, "--tint", "mauvish"}, "--tint", 2);
    for (const char *count : {"0", "301", "-1", "sixty"}) {
        expectRefused({"new", _out, "--background", _photo, "--count", count}, "--count", 2);
    }
}

TEST_F(NewPhoto, LeavesNothingBehindWhereItMayNotWriteOrTheDiskIsFull) {
    ProgramRun::Options full;
    full.largestFile = 2000;
    const ProgramRun run({"new", _out, "--background", _photo}, full);
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    EXPECT_EQ(names(), std::vector<std::string>{"photo.jpg"});
    if (geteuid() == 0) {
        expectRefused({"new", "/proc/Out.bundle", "--background", _photo},
                      "/proc/Out.bundle: cannot be made");
        return;
    }
    const std::string closed = _folder.makeFolder("closed");
    chmod(closed.c_str(), 0555);
    expectRefused({"new", closed + "/Out.bundle", "--background", _photo},
                  "cannot be made: Permission denied");
}

TEST_F(NewPhoto, RunsEveryCommandOfThePageOnMakingWallpapers) {
    _folder.write("beach.jpg", JPEGBuilder::halves(320, 160));
    _folder.write("leaf1.png", bluePicture(50, 40));
    _folder.write("leaf2.png", bluePicture(50, 60, true));
    fs::copy(shippedBundle("Lumivera.bundle"), _folder.pathOf("Snow.bundle"));
    ProgramRun::Options options;
    options.environment = {"XDG_DATA_HOME=" + _folder.pathOf("data")};
    options.folder = _folder.path();
    const auto commands = commandsIn("making-wallpapers.md");
    EXPECT_GE(commands.size(), 8u);
    for (std::vector<std::string> command : commands) {
        if (command.front() == "run") {
            // There is no window here.
            command.front() = "render";
            command.insert(command.end(), {"--frames", "1", "--trace", "/dev/null"});
        }
        const ProgramRun run(command, options);
        EXPECT_EQ(run.status(), 0) << command.front() << ": " << run.errors();
    }
}

} // namespace
