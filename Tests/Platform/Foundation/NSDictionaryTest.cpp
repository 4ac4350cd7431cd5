#include "Platform/Foundation/NSDictionary.h"

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

std::string document(const std::string &value) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + value + "</plist>";
}

Retained<NSDictionary> dictionaryFrom(std::string_view contents) {
    const TemporaryFolder folder;
    return NSDictionary::dictionaryWithContentsOfFile(folder.write("description.plist", contents));
}

TEST(NSDictionary, HoldsTheEntriesOfAFile) {
    const auto dictionary =
        dictionaryFrom(document("<dict><key>name Library</key><string>lib.dylib</string>"
                                "<key>sakura Count</key><integer>40</integer></dict>"));
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(dictionary->entries().size(), 2u);
    EXPECT_EQ(*dictionary->objectForKey("name Library"), PropertyList("lib.dylib"));
    EXPECT_EQ(*dictionary->objectForKey("sakura Count"), PropertyList(40));
}

TEST(NSDictionary, KnowsKeysByCaseAndBlanks) {
    const auto dictionary =
        dictionaryFrom(document("<dict><key>name Library</key><string>lib.dylib</string></dict>"));
    EXPECT_TRUE(dictionary->objectForKey("name Library"));
    for (const char *key : {"name library", "nameLibrary", "name  Library", "name Library ", ""}) {
        EXPECT_FALSE(dictionary->objectForKey(key)) << key;
    }
}

TEST(NSDictionary, MayBeEmptyWithoutBeingMissing) {
    const auto dictionary = dictionaryFrom(document("<dict/>"));
    ASSERT_TRUE(dictionary);
    EXPECT_TRUE(dictionary->entries().empty());
}

TEST(NSDictionary, IsMissingWhenTheFileIs) {
    const TemporaryFolder folder;
    EXPECT_FALSE(NSDictionary::dictionaryWithContentsOfFile(folder.pathOf("missing.plist")));
}

TEST(NSDictionary, IsMissingWhenTheFileIsAFolderOrAPipe) {
    const TemporaryFolder folder;
    EXPECT_FALSE(NSDictionary::dictionaryWithContentsOfFile(folder.path()));
    ASSERT_EQ(mkfifo(folder.pathOf("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(NSDictionary::dictionaryWithContentsOfFile(folder.pathOf("pipe")));
}

TEST(NSDictionary, IsMissingWhenTheFileIsNoPropertyList) {
    for (const char *contents : {"", "{}", "name = petals", "<plist>", "<html></html>"}) {
        EXPECT_FALSE(dictionaryFrom(contents)) << contents;
    }
}

TEST(NSDictionary, IsMissingWhenTheRootIsSomethingElse) {
    for (const char *value : {"<array><dict/></array>", "<string>a</string>", "<true/>"}) {
        EXPECT_FALSE(dictionaryFrom(document(value))) << value;
    }
}

} // namespace
