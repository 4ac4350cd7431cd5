#include "Host/Desktop/Backgrounds/KeptSettings.h"
#include "Host/Desktop/Backgrounds/StateFolder.h"
#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Support/DeadFileSystem.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace Lumivera;

namespace {

const KeptSettings::Entries kEntries = {
    {"/a/b", {"", std::nullopt, "/new"}},
    {"key\twith\nall%", {std::string("\0\x01\x7f\xff\t%25=-", 9), "-", std::nullopt}},
    {"not set", {std::nullopt, "x", "y"}},
    {"é", {"'file:///ü'", "'file:///o'", std::nullopt}},
};

TEST(KeptSettings, ComeBackFromTheirFileByteForByte) {
    const TemporaryFolder folder;
    KeptSettings first(folder.pathOf("kept"));
    first.entries() = kEntries;
    first.save();
    KeptSettings second(folder.pathOf("kept"));
    second.load();
    EXPECT_EQ(second.entries(), kEntries);
}

TEST(KeptSettings, HaveNoFileWhenThereAreNone) {
    const TemporaryFolder folder;
    KeptSettings kept(folder.pathOf("kept"));
    kept.load();
    EXPECT_TRUE(kept.entries().empty());
    kept.save();
    EXPECT_FALSE(kept.isSaved());
    kept.entries() = kEntries;
    kept.save();
    EXPECT_TRUE(kept.isSaved());
    kept.entries().clear();
    kept.save();
    EXPECT_FALSE(kept.isSaved());
}

TEST(KeptSettings, AreReadOnlyFromAWholeText) {
    const std::string text = KeptSettings::textOf(kEntries);
    EXPECT_EQ(KeptSettings::parse(text), kEntries);
    for (std::size_t size = 0; size + 1 < text.size(); ++size) {
        EXPECT_FALSE(KeptSettings::parse(text.substr(0, size))) << size;
    }
}

TEST(KeptSettings, AreNotReadFromBrokenLines) {
    const std::string first = "Lumivera: settings to give back, form 1\n";
    EXPECT_TRUE(KeptSettings::parse(first + "a\t-\t-\t=b\nend\n"));
    for (const char *lines :
         {"a\t-\t-\n", "a\t-\t-\t-\t-\n", "a\tx\t-\t-\n", "a\t=%\t-\t-\n", "a\t=%4\t-\t-\n",
          "a\t=%zz\t-\t-\n", "a\t-\t-\t-\na\t-\t-\t-\n", "\n", "%\t-\t-\t-\n"}) {
        EXPECT_FALSE(KeptSettings::parse(first + lines + "end\n")) << lines;
    }
    EXPECT_FALSE(KeptSettings::parse("Lumivera: settings to give back, form 2\nend\n"));
}

TEST(KeptSettings, AreSetAsideWhenTheirFileIsBroken) {
    const TemporaryFolder folder;
    KeptSettings kept(folder.write("kept", "nonsense"));
    EXPECT_THROW(kept.load(), HostError);
    EXPECT_FALSE(kept.isSaved());
    EXPECT_EQ(contentsOf(folder.pathOf("kept.broken")), "nonsense");
}

TEST(KeptSettings, AreNotReadFromALinkAFolderOrAFileOfOthers) {
    const TemporaryFolder folder;
    const std::string text = KeptSettings::textOf(kEntries);
    ASSERT_EQ(symlink(folder.write("target", text).c_str(), folder.pathOf("link").c_str()), 0);
    folder.makeFolder("folder");
    chmod(folder.write("open", text).c_str(), 0620);
    for (const char *name : {"link", "folder", "open"}) {
        KeptSettings kept(folder.pathOf(name));
        EXPECT_THROW(kept.load(), HostError) << name;
        EXPECT_TRUE(kept.entries().empty()) << name;
        EXPECT_TRUE(kept.isSaved()) << name;
    }
    if (geteuid() == 0) {
        const std::string foreign = folder.write("foreign", text);
        ASSERT_EQ(chown(foreign.c_str(), 65534, 65534), 0);
        KeptSettings kept(foreign);
        EXPECT_THROW(kept.load(), HostError);
    }
}

TEST(KeptSettings, TellOurValuesFromTheUsers) {
    const KeptSetting fresh{"own", std::nullopt, "new"};
    EXPECT_TRUE(fresh.isOurs("own")) << "it was not set yet";
    EXPECT_TRUE(fresh.isOurs("new"));
    EXPECT_FALSE(fresh.isOurs("else"));
    EXPECT_FALSE(fresh.isOurs(std::nullopt));
    const KeptSetting shown{"own", "ours", std::nullopt};
    EXPECT_TRUE(shown.isOurs("ours"));
    EXPECT_FALSE(shown.isOurs("own")) << "the user has chosen it again";
    EXPECT_FALSE(shown.isOurs(std::nullopt));
    const KeptSetting unset{std::nullopt, std::nullopt, "new"};
    EXPECT_TRUE(unset.isOurs(std::nullopt));
}

TEST(KeptSettings, AreNotWaitedForOnAFileSystemThatDoesNotAnswer) {
    TemporaryFolder folderOfTest;
    const DeadFileSystem dead(folderOfTest.makeFolder("dead"));
    if (!dead.problem().empty()) {
        GTEST_SKIP() << dead.problem();
    }
    KeptSettings settings(dead.pathOf("kept"));
    EXPECT_THROW(settings.load(), HostError);
    EXPECT_TRUE(settings.isSaved()) << "nobody knows";
    settings.entries()["a"] = {};
    EXPECT_THROW(settings.save(), HostError);
    StateFolder folder(dead.pathOf("state"));
    EXPECT_THROW(folder.take(), HostError);
    EXPECT_FALSE(folder.exists());
}

} // namespace
