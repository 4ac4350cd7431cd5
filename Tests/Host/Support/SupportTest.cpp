#include "Host/Displays/PointerGestures.h"
#include "Host/Rendering/PictureSinks.h"
#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Host/Support/Printing.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using namespace Lumivera;

namespace {

TEST(HostError, IsOneLineWhateverItNames) {
    EXPECT_STREQ(HostError("a\nb", "broke\t", "mend\x1b it").what(), "a?b: broke?; mend? it");
}

TEST(HostError, LeavesTheAdviceOutWhenThereIsNone) {
    EXPECT_STREQ(HostError("a", "broke").what(), "a: broke");
}

TEST(NumberPattern, FillsUpWithZeros) {
    EXPECT_EQ(NumberPattern::parse("d/x-%04d.png")->pathFor(7), "d/x-0007.png");
    EXPECT_EQ(NumberPattern::parse("%d")->pathFor(12), "12");
    EXPECT_EQ(NumberPattern::parse("%02d")->pathFor(12345), "12345");
}

TEST(NumberPattern, WantsExactlyOnePlaceInTheFilesName) {
    for (const char *path : {"x", "%", "%s", "%4d", "%0d", "%010d", "%d%d", "%%d", "%d%", "%d/x",
                             "%n", "%-4d", "%04", "%04x"}) {
        EXPECT_FALSE(NumberPattern::parse(path)) << path;
    }
}

TEST(ProgressBar, TellsTheTimeLeft) {
    EXPECT_EQ(ProgressBar::line("x", 50, 200, 10),
              "x [#######-----------------------] 25% 0:30 left");
    EXPECT_EQ(ProgressBar::line("x", 200, 200, 90),
              "x [##############################] 100% 0:00 left");
}

TEST(ProgressBar, GuessesNothingBeforeTheFirstStep) {
    EXPECT_EQ(ProgressBar::line("x", 0, 9, 5), "x [------------------------------] 0%");
    EXPECT_EQ(ProgressBar::line("x", 0, 0, 5), "x [------------------------------] 0%");
}

TEST(TextTable, AlignsColumnsByCharactersNotBytes) {
    EXPECT_EQ(textTable({{"\xc3\xbc", "b"}, {"aaa", "c"}}), "\xc3\xbc    b\naaa  c\n");
}

TEST(OutputFile, IsNotThereUntilItIsWhole) {
    const TemporaryFolder folder;
    const std::string path = folder.pathOf("x");
    OutputFile file(path);
    file.write("text");
    EXPECT_FALSE(std::filesystem::exists(path));
    file.commit();
    EXPECT_EQ(contentsOf(path), "text");
}

TEST(OutputFile, LeavesNothingWhenItIsGivenUp) {
    const TemporaryFolder folder;
    { OutputFile(folder.pathOf("x")).write("text"); }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(OutputFile, ReplacesWhatALinkLeadsToAndNotTheLink) {
    const TemporaryFolder folder;
    const std::string target = folder.write("target", "old");
    std::filesystem::create_symlink(target, folder.pathOf("link"));
    OutputFile file(folder.pathOf("link"));
    file.write("new");
    file.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(folder.pathOf("link")));
    EXPECT_EQ(contentsOf(target), "new");
}

TEST(OutputFile, WritesStraightToADevice) {
    OutputFile file("/dev/full");
    file.write("text");
    EXPECT_THROW(file.commit(), HostError);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST(OutputFile, NamesTheFolderThatIsMissing) {
    EXPECT_THROW(OutputFile("/nonexistent/x"), HostError);
    EXPECT_THROW(OutputFile("/tmp"), HostError);
}

class GestureRecorder final : public PointerListener {
  public:
    void tapped(CGPoint point) override { note("tap", point.x); }
    void scrolledBy(CGFloat distance) override { note("scroll", distance); }
    void scrollingEnded() override { note("end", 0); }

    std::string heard;

  private:
    void note(const std::string &what, CGFloat number) {
        heard += what + " " + std::to_string(static_cast<int>(number)) + ",";
    }
};

TEST(PointerGestures, TakesAPressThatHardlyMovesForATapWhereItBegan) {
    PointerGestures gestures;
    GestureRecorder recorder;
    gestures.pressed({100, 50});
    gestures.moved({104, 53}, recorder);
    gestures.released({105, 53}, recorder);
    EXPECT_EQ(recorder.heard, "tap 100,");
}

TEST(PointerGestures, ScrollsByAllOfADragsWay) {
    PointerGestures gestures;
    GestureRecorder recorder;
    gestures.pressed({100, 50});
    gestures.moved({105, 50}, recorder);
    gestures.moved({120, 50}, recorder);
    gestures.moved({90, 50}, recorder);
    gestures.released({90, 50}, recorder);
    EXPECT_EQ(recorder.heard, "scroll 20,scroll -30,end 0,");
}

TEST(PointerGestures, EndsADragAndForgetsAPressThatAreTakenAway) {
    PointerGestures gestures;
    GestureRecorder recorder;
    gestures.pressed({100, 50});
    gestures.cancelled(recorder);
    gestures.released({100, 50}, recorder);
    EXPECT_EQ(recorder.heard, "");
    gestures.pressed({100, 50});
    gestures.moved({120, 50}, recorder);
    gestures.cancelled(recorder);
    gestures.released({120, 50}, recorder);
    EXPECT_EQ(recorder.heard, "scroll 20,end 0,");
}

TEST(PointerGestures, HearsNothingOfAPointerThatIsNotPressed) {
    PointerGestures gestures;
    GestureRecorder recorder;
    gestures.moved({200, 50}, recorder);
    gestures.released({200, 50}, recorder);
    EXPECT_EQ(recorder.heard, "");
}

} // namespace
