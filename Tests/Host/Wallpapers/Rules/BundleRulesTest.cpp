#include "Host/Wallpapers/Rules/BundleRules.h"

#include "Animation/Common/NSData+DataEncrypt.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Wallpapers/Rules/MadeBundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <sys/stat.h>

using namespace Lumivera;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

using Edge = MadeBundle::Edge;

/// The remarks of all rules, as "degree rule: line".
std::vector<std::string> remarksOn(const std::string &path) {
    const CheckedBundle bundle(path, BundleFolder::Trust::UserAndRoot);
    Remarks remarks;
    for (const BundleRule &rule : bundleRules()) {
        rule.check(bundle, Reporter(rule.name, remarks));
    }
    std::vector<std::string> lines;
    for (const Remark &remark : remarks) {
        lines.push_back(std::string(nameOf(remark.degree)) + " " + remark.rule + ": " +
                        remark.line());
    }
    return lines;
}

TEST(BundleRules, FindNothingInBundlesThatAreInOrder) {
    EXPECT_THAT(remarksOn(MadeBundle().path()), IsEmpty());
    for (const char *name : {"Lumivera", "Maple", "Snow", "Fireflies", "Gallery"}) {
        EXPECT_THAT(remarksOn(shippedBundle(name + std::string(".bundle"))), IsEmpty()) << name;
    }
    MadeBundle withCode;
    withCode.addLibrary("test-wallpapers/libTinyWallpaper.so");
    EXPECT_THAT(remarksOn(withCode.path()), IsEmpty());
}

TEST(BundleRules, TakeOneLargeFileForTheBackgroundOfAllScreens) {
    MadeBundle bundle;
    bundle.remove("lumivera_background_@2x.png");
    bundle.remove("lumivera_background_@3x.png");
    bundle.draw("lumivera_background_.png", 1600, 12, Edge::Opaque);
    EXPECT_THAT(remarksOn(bundle.path()), IsEmpty());
}

TEST(BundleRules, LetCodeHaveLargePicturesOfAnySizeButOneShape) {
    MadeBundle bundle;
    bundle.addLibrary("test-wallpapers/libTinyWallpaper.so");
    bundle.draw("meadow.png", 1280, 640, Edge::Opaque);
    bundle.draw("meadow@2x.png", 1600, 800, Edge::Opaque);
    EXPECT_THAT(remarksOn(bundle.path()), IsEmpty());
    bundle.draw("meadow@2x.png", 1600, 600, Edge::Opaque);
    EXPECT_THAT(remarksOn(bundle.path()), testing::ElementsAre(testing::HasSubstr(
                                              "meadow@2x.png: is 1600x600, another shape")));
    bundle.draw("meadow.png", 40, 20, Edge::Opaque);
    bundle.draw("meadow@2x.png", 50, 25, Edge::Opaque);
    EXPECT_THAT(remarksOn(bundle.path()),
                testing::ElementsAre(testing::HasSubstr("meadow@2x.png: is 50x25, not 80x40")));
}

TEST(BundleRules, HaveNamesOfTheirOwn) {
    std::vector<std::string_view> names;
    for (const BundleRule &rule : bundleRules()) {
        names.push_back(rule.name);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

struct Mistake {
    std::function<void(MadeBundle &)> make;

    /// The beginning of a line of remarksOn().
    const char *remark;
};

std::string packOf(const DataEncrypt::Bytes &value) {
    const TemporaryFolder folder;
    DataEncrypt::saveDatas_toFilePath(
        {{"a.png", DataEncrypt::encryptionDataWithData_encrypt(value, true)}},
        folder.pathOf("pack"));
    return contentsOf(folder.pathOf("pack"));
}

const Mistake kMistakes[] = {
    {[](MadeBundle &bundle) { std::filesystem::create_symlink("/etc", bundle.pathOf("more")); },
     "wrong links: more: is a link"},
    {[](MadeBundle &bundle) { mkfifo(bundle.pathOf("pipe").c_str(), 0600); },
     "wrong links: pipe: is neither a file nor a folder"},
    {[](MadeBundle &bundle) { bundle.write("Thumbnail.PNG", "x"); },
     "wrong names: thumbnail.png: differs from Thumbnail.PNG in capital letters alone"},
    {[](MadeBundle &bundle) { bundle.write("back.xcf", "x"); },
     "advice leftovers: back.xcf: is no part of a wallpaper"},
    {[](MadeBundle &bundle) {
         std::filesystem::resize_file((bundle.write("film.bin", ""), bundle.pathOf("film.bin")),
                                      70 << 20);
     },
     "doubtful leftovers: all files: take "},
    {[](MadeBundle &bundle) {
         bundle.addLibrary("test-wallpapers/libTinyWallpaper.so");
         chmod(bundle.path().c_str(), 0777);
     },
     "wrong owner: "},
    {[](MadeBundle &bundle) { bundle.set("name Library", "<string>a/b.so</string>"); },
     "wrong library: description.plist, \"name Library\": "},
    {[](MadeBundle &bundle) {
         bundle.addLibrary("test-wallpapers/libTinyWallpaper.so");
         bundle.set("name Library", "<string>mode.so</string>");
     },
     "wrong library: description.plist, \"name Library\": there is no file mode.so; write made.so"},
    {[](MadeBundle &bundle) {
         bundle.set("name Library", "<string>made.so</string>");
         bundle.write("made.so", "no library");
     },
     "wrong library: made.so: is no library for this system"},
    {[](MadeBundle &bundle) { bundle.addLibrary("libLumiveraPlatform.so"); },
     "doubtful library: made.so: is not linked with -z nodelete"},
    {[](MadeBundle &bundle) { bundle.remove("description.plist"); },
     "wrong description: description.plist: is missing"},
    {[](MadeBundle &bundle) { bundle.write("description.plist", "<plist"); },
     "wrong description: description.plist: is unreadable, damaged or no dictionary"},
    {[](MadeBundle &bundle) {
         std::filesystem::rename(bundle.pathOf("description.plist"),
                                 bundle.pathOf("Description.plist"));
     },
     "wrong description: Description.plist: is not found"},
    {[](MadeBundle &bundle) { bundle.set("sakura count", "<integer>60</integer>"); },
     "wrong keys: description.plist, \"sakura count\": nothing reads this key; write \"sakura "
     "Count\""},
    {[](MadeBundle &bundle) { bundle.set("falingSpeed", "<integer>2</integer>"); },
     "wrong keys: description.plist, \"falingSpeed\": nothing reads this key; write \"falling "
     "Speed\""},
    {[](MadeBundle &bundle) { bundle.set("colour", "<string>red</string>"); },
     "doubtful keys: description.plist, \"colour\": nothing reads this key"},
    {[](MadeBundle &bundle) { bundle.set("sakura Count", "<string>sixty</string>"); },
     "wrong types: description.plist, \"sakura Count\": is the text \"sixty\", which counts as 0"},
    {[](MadeBundle &bundle) { bundle.set("sakura Count", "<string>60</string>"); },
     "doubtful types: description.plist, \"sakura Count\": is a text"},
    {[](MadeBundle &bundle) { bundle.set("sakura Count", "<array/>"); },
     "wrong types: description.plist, \"sakura Count\": is no number"},
    {[](MadeBundle &bundle) { bundle.set("falling Speed", "<real>2.5</real>"); },
     "doubtful types: description.plist, \"falling Speed\": is no whole number, and counts as 2"},
    {[](MadeBundle &bundle) { bundle.set("falling Speed", "<true/>"); },
     "wrong types: description.plist, \"falling Speed\": is no number, and counts as 1"},
    {[](MadeBundle &bundle) { bundle.set("author", "<integer>3</integer>"); },
     "wrong types: description.plist, \"author\": is no text"},
    {[](MadeBundle &bundle) { bundle.set("sakura Count", "<integer>500</integer>"); },
     "wrong ranges: description.plist, \"sakura Count\": is 500, which counts as 300"},
    {[](MadeBundle &bundle) { bundle.set("sakura Count", "<integer>-4</integer>"); },
     "wrong ranges: description.plist, \"sakura Count\": is -4, which counts as 1"},
    {[](MadeBundle &bundle) { bundle.set("sakura Count", "<integer>0</integer>"); },
     "doubtful ranges: description.plist, \"sakura Count\": is 0, which counts as 120"},
    {[](MadeBundle &bundle) { bundle.set("falling Speed", "<integer>-1</integer>"); },
     "wrong ranges: description.plist, \"falling Speed\": is -1, which counts as 0"},
    {[](MadeBundle &bundle) { bundle.set("falling Speed", "<integer>99</integer>"); },
     "doubtful ranges: description.plist, \"falling Speed\": is 99, too fast to be seen"},
    {[](MadeBundle &bundle) { bundle.set("license", ""); },
     "advice credits: description.plist, \"license\": is missing"},
    {[](MadeBundle &bundle) { bundle.set("author", ""); },
     "advice credits: description.plist, \"author\": is missing"},
    {[](MadeBundle &bundle) { bundle.remove("lumivera_petal2.png"); },
     "wrong pictures: lumivera_petal2.png: is missing"},
    {[](MadeBundle &bundle) {
         std::filesystem::rename(bundle.pathOf("lumivera_petal2.png"),
                                 bundle.pathOf("Lumivera_petal2.jpg"));
     },
     "wrong pictures: lumivera_petal2.png: is missing, but there is Lumivera_petal2.jpg; rename "
     "it"},
    {[](MadeBundle &bundle) { bundle.remove("lumivera_flower1@3x.png"); },
     "advice pictures: lumivera_flower1@3x.png: is missing"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_petal9.png", 8, 8, Edge::Clear); },
     "doubtful unused: lumivera_petal9.png: is never shown"},
    {[](MadeBundle &bundle) { bundle.write("lumivera_petal1.png", "no picture"); },
     "wrong decoding: lumivera_petal1.png: is damaged, too large or no picture"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_petal1@2x.png", 17, 16, Edge::Clear); },
     "wrong densities: lumivera_petal1@2x.png: is 17x16, not 16x16"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_background_@2x.png", 900, 8, Edge::Opaque); },
     "wrong densities: lumivera_background_@2x.png: is 900x8, another shape than 500x4"},
    {[](MadeBundle &bundle) { bundle.remove("thumbnail.png"); },
     "wrong densities: thumbnail@2x.png: there is no thumbnail.png"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_petal1.png", 300, 300, Edge::Clear); },
     "doubtful sizes: lumivera_petal1.png: is 300x300 points large"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_background_@3x.png", 6000, 48, Edge::Opaque); },
     "doubtful sizes: lumivera_background_@3x.png: is 6000x48 and takes 1 MiB of memory"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_background_@3x.png", 750, 6, Edge::Opaque); },
     "doubtful sizes: lumivera_background_.png: has at most 1000 pixels a side"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_petal1.png", 8, 8, Edge::Opaque); },
     "wrong transparency: lumivera_petal1.png: has no transparency, and falls as a rectangle"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_petal1.png", 8, 8, Edge::AllClear); },
     "wrong transparency: lumivera_petal1.png: is wholly transparent"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_petal1.png", 8, 8, Edge::Cut); },
     "doubtful transparency: lumivera_petal1.png: looks cut off at its edge"},
    {[](MadeBundle &bundle) { bundle.draw("lumivera_background_.png", 500, 4, Edge::Clear); },
     "doubtful transparency: lumivera_background_.png: is transparent in places"},
    {[](MadeBundle &bundle) { bundle.remove("thumbnail.png"); },
     "doubtful thumbnail: thumbnail.png: is missing"},
    {[](MadeBundle &bundle) { bundle.draw("thumbnail.png", 30, 40, Edge::Opaque); },
     "doubtful thumbnail: thumbnail.png: is 30x40"},
    {[](MadeBundle &bundle) { bundle.write("art.pack", std::string("\0\0\0\2\0\0\0\5a.png", 13)); },
     "wrong packs: art.pack: "},
    {[](MadeBundle &bundle) {
         bundle.write("art", packOf({1, 2, 3}));
     },
     "wrong packs: art: its entry \"a.png\" is no picture"},
};

TEST(BundleRules, FindEachMistake) {
    for (const Mistake &mistake : kMistakes) {
        MadeBundle bundle;
        mistake.make(bundle);
        EXPECT_THAT(remarksOn(bundle.path()),
                    testing::Contains(testing::StartsWith(mistake.remark)));
    }
}

TEST(BundleRules, EachFindsAMistakeHere) {
    for (const BundleRule &rule : bundleRules()) {
        const bool isThere = std::any_of(
            std::begin(kMistakes), std::end(kMistakes), [&rule](const Mistake &mistake) {
                return std::string(mistake.remark).find(" " + std::string(rule.name) + ": ") !=
                       std::string::npos;
            });
        EXPECT_TRUE(isThere || rule.name == "folder") << rule.name;
    }
}

TEST(BundleRules, TellOfFoldersThatAreNoBundles) {
    const TemporaryFolder folder;
    folder.write("file.bundle", "");
    EXPECT_THAT(remarksOn(folder.pathOf("none.bundle")),
                testing::ElementsAre(testing::HasSubstr("folder: ")));
    EXPECT_THAT(remarksOn(folder.pathOf("file.bundle")),
                testing::ElementsAre(testing::HasSubstr("is a file, not a bundle")));
    EXPECT_THAT(remarksOn(folder.makeFolder("Snow")),
                testing::Contains(testing::HasSubstr("rename it to Snow.bundle")));
}

TEST(BundleRules, LeaveKeysOfCodeAlone) {
    MadeBundle bundle;
    bundle.addLibrary("test-wallpapers/libTinyWallpaper.so");
    bundle.set("lanterns", "<integer>7</integer>");
    EXPECT_THAT(remarksOn(bundle.path()), IsEmpty());
}

TEST(BundleRules, GiveListsTheMistakesThatAreFoundQuickly) {
    MadeBundle bundle;
    bundle.set("sakura Count", "<integer>500</integer>");
    bundle.write("lumivera_petal1.png", "no picture");
    const Remarks mistakes = cheapMistakes(bundle.path());
    ASSERT_EQ(mistakes.size(), 1U);
    EXPECT_EQ(mistakes[0].rule, "ranges");
}

TEST(NearestOf, FindsSlips) {
    const std::vector<std::string> known{"sakura Count", "falling Speed", "name"};
    EXPECT_EQ(nearestOf("Sakura_count", known), "sakura Count");
    EXPECT_EQ(nearestOf("sakuraCuont", known), "sakura Count");
    EXPECT_EQ(nearestOf("nam", known), "");
    EXPECT_EQ(nearestOf("nmae", known), "");
    EXPECT_EQ(nearestOf("Name", known), "name");
    EXPECT_EQ(nearestOf("colour", known), "");
    EXPECT_EQ(nearestOf("", known), "");
}

TEST(ReporterTest, LetsOneRemarkStandForTheRest) {
    Remarks remarks;
    const Reporter report("rule", remarks);
    for (std::size_t i = 0; i < Reporter::kMaxRemarks + 50; ++i) {
        report.doubt("a", "b", "c");
    }
    ASSERT_EQ(remarks.size(), Reporter::kMaxRemarks + 1);
    EXPECT_EQ(remarks.back().line(),
              "the rest: there is more of this kind; mend what stands above first");
    EXPECT_EQ(remarks.back().degree, Degree::Doubtful);
    report.wrong("a", "b", "c");
    EXPECT_EQ(remarks.size(), Reporter::kMaxRemarks + 1);
    EXPECT_EQ(remarks.back().degree, Degree::Wrong);
}

TEST(BundleRules, ShortenWordsOfTheDescription) {
    MadeBundle bundle;
    std::string text;
    for (int i = 0; i < 50; ++i) {
        text += "é";
    }
    bundle.set("sakura Count", "<string>" + text + "</string>");
    EXPECT_THAT(remarksOn(bundle.path()),
                testing::Contains(HasSubstr("is the text \"" + text.substr(0, 80) + "…\", which")));
    bundle.set("sakura Count", "<string>a" + text + "</string>");
    EXPECT_THAT(remarksOn(bundle.path()),
                testing::Contains(HasSubstr("\"a" + text.substr(0, 78) + "…\"")));
}

TEST(ReporterTest, TakesTheLineOfAFailureApart) {
    Remarks remarks;
    Reporter("rule", remarks).add(Degree::Wrong, "a: b; c");
    Reporter("rule", remarks).add(Degree::Wrong, "only words");
    EXPECT_EQ(remarks[0].subject, "a");
    EXPECT_EQ(remarks[0].words, "b");
    EXPECT_EQ(remarks[0].remedy, "c");
    EXPECT_EQ(remarks[1].words, "only words");
}

} // namespace
