#include "Host/Wallpapers/LibraryNeeds.h"

#include "Lumivera/Interface.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Wallpapers/MadeLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

using namespace Lumivera;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

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

std::optional<std::uint32_t> interfaceOf(const std::string &wallpaper) {
    return needsOf(contentsOf(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/lib" + wallpaper + ".so"))
        .kitInterface;
}

std::string bytesOf(std::uint32_t number) {
    return std::string(reinterpret_cast<const char *>(&number), sizeof number);
}

std::string withNotes(const std::string &notes, std::size_t alignment = 4) {
    return madeLibrary({"a.so"}, "/x", DT_RUNPATH, notes, alignment);
}

const std::string kLumivera("Lumivera", 9);

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
    EXPECT_THAT(needs.libraries, Contains(StartsWith("libLumiveraPlatform.so.")));
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

TEST(LibraryNeeds, TellTheInterfaceOfTheKit) {
    EXPECT_EQ(interfaceOf("KitWallpaper"), LUMIVERA_INTERFACE);
    EXPECT_EQ(interfaceOf("FutureWallpaper"), 999u);
    EXPECT_EQ(interfaceOf("TinyWallpaper"), std::nullopt);
}

TEST(LibraryNeeds, FindTheInterfaceBehindOtherNotes) {
    for (const std::size_t alignment : {4, 8}) {
        const std::string notes =
            madeNote(std::string("GNU", 4), 3, "twenty bytes of text", alignment) +
            madeNote(kLumivera, 2, bytesOf(5), alignment) +
            madeNote(kLumivera, 1, "longer than a number", alignment) +
            madeNote(kLumivera, 1, bytesOf(7), alignment);
        EXPECT_EQ(needsOf(withNotes(notes, alignment)).kitInterface, 7u) << alignment;
    }
}

TEST(LibraryNeeds, FindNoInterfaceInDamagedNotes) {
    const std::string note = madeNote(kLumivera, 1, bytesOf(7));
    for (std::size_t size = 0; size < note.size(); ++size) {
        EXPECT_EQ(needsOf(withNotes(note.substr(0, size))).kitInterface, std::nullopt) << size;
    }
    for (const std::uint32_t size : {10u, 0x7fffffffu, 0xfffffffcu, 0xffffffffu}) {
        for (const std::size_t at : {0, 4}) {
            std::string damaged = note;
            damaged.replace(at, 4, bytesOf(size));
            EXPECT_EQ(needsOf(withNotes(damaged)).kitInterface, std::nullopt) << size;
        }
    }
    EXPECT_EQ(needsOf(withNotes(madeNote("Lumivera1", 1, bytesOf(7)))).kitInterface, std::nullopt);
}

} // namespace
