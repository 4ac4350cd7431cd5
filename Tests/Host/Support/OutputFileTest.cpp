#include "Host/Support/OutputFile.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Lumivera;

namespace {

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

} // namespace
