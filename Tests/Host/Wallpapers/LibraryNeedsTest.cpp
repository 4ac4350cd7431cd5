#include "Host/Wallpapers/LibraryNeeds.h"

#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Wallpapers/MadeLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

using namespace Lumivera;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

LibraryNeeds needsOf(const std::string &file) {
    return LibraryNeeds::read([&](std::uint64_t offset, void *bytes, std::size_t count) {
        if (offset > file.size() || count > file.size() - offset) {
            return false;
        }
        std::memcpy(bytes, file.data() + offset, count);
        return true;
    });
}

TEST(LibraryNeeds, AreThoseOfALibraryThatALinkerMade) {
    const LibraryNeeds needs =
        needsOf(contentsOf(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libBorrowingWallpaper.so"));
    EXPECT_THAT(needs.libraries, Contains("libTinyWallpaper.so"));
    EXPECT_THAT(needs.libraries, Contains("libc.so.6"));
    EXPECT_THAT(needs.folders, Contains("$ORIGIN"));
}

TEST(LibraryNeeds, AreReadFromALibraryForAnotherBaseAddress) {
    const LibraryNeeds needs =
        needsOf(contentsOf(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libHighWallpaper.so"));
    EXPECT_THAT(needs.libraries, Contains("libLumiveraPlatform.so"));
}

TEST(LibraryNeeds, SplitBothKindsOfSearchPaths) {
    for (const int tag : {DT_RPATH, DT_RUNPATH}) {
        const LibraryNeeds needs = needsOf(madeLibrary({"a.so", "b/c.so"}, "/x:$ORIGIN::", tag));
        EXPECT_THAT(needs.libraries, ElementsAre("a.so", "b/c.so"));
        EXPECT_THAT(needs.folders, ElementsAre("/x", "$ORIGIN", "", ""));
    }
}

TEST(LibraryNeeds, AreNoneOfWhatIsNoLibrary) {
    for (const std::string &file : {std::string(), std::string("this is no library at all"),
                                    std::string(ELFMAG), std::string(5000, '\0')}) {
        EXPECT_THAT(needsOf(file).libraries, IsEmpty());
    }
}

TEST(LibraryNeeds, ReadNothingBeyondAFileThatIsCutShort) {
    const std::string whole = madeLibrary({"a.so"}, "/x");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        for (const std::string &name : needsOf(whole.substr(0, size)).libraries) {
            EXPECT_TRUE(name.empty() || name == "a.so");
        }
    }
}

} // namespace
