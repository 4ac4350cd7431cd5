#include "Host/Desktop/Isolation/CodeRules.h"
#include "Host/Wallpapers/Rules/BundleRules.h"
#include "Tests/Host/Desktop/Isolation/BrokenLibraries.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Wallpapers/Rules/MadeBundle.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <set>
#include <sstream>
#include <string_view>

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using Json = nlohmann::json;

namespace {

TEST(Check, SaysThatAShippedBundleIsInOrder) {
    const std::string bundle = shippedBundle("Lumivera.bundle");
    const ProgramRun run({"check", "Lumivera", bundle, "--seed", "5"});
    EXPECT_EQ(run.status(), 0) << run.errors();
    const std::string line = bundle + ": in order (seed 5)\n";
    EXPECT_EQ(run.output(), line + line);
    EXPECT_EQ(run.errors(), "");
}

TEST(Check, FindsTwelveMistakesAtOnce) {
    using Edge = MadeBundle::Edge;
    MadeBundle bundle;
    bundle.set("sakura Count", "");
    bundle.set("sakura count", "<integer>60</integer>");
    bundle.set("falling Speed", "<integer>-4</integer>");
    bundle.set("summary", "<integer>1</integer>");
    bundle.set("license", "");
    bundle.remove("lumivera_flower1.png");
    bundle.write("lumivera_flower2.png", "no picture");
    bundle.draw("lumivera_flower3@2x.png", 17, 16, Edge::Clear);
    bundle.draw("lumivera_petal1.png", 8, 8, Edge::Opaque);
    bundle.draw("lumivera_petal2.png", 400, 400, Edge::Clear);
    bundle.draw("snow.png", 8, 8, Edge::Clear);
    bundle.write("Thumbnail.png", "x");
    bundle.remove("thumbnail.png");
    bundle.write("art.pack", "no pack");
    const ProgramRun run({"check", bundle.path()});
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    for (const char *line :
         {"wrong     description.plist, \"sakura count\": nothing reads this key; write \"sakura "
          "Count\"  [keys]\n",
          "wrong     description.plist, \"falling Speed\": is -4, ",
          "wrong     description.plist, \"summary\": is no text; ",
          "advice    description.plist, \"license\": is missing",
          "wrong     lumivera_flower1.png: is missing; ",
          "wrong     lumivera_flower2.png: is damaged, ",
          "wrong     lumivera_flower3@2x.png: is 17x16, not 16x16",
          "wrong     lumivera_petal1.png: has no transparency, ",
          "doubtful  lumivera_petal2.png: is 400x400 points large",
          "doubtful  snow.png: is never shown", "doubtful  thumbnail.png: is missing",
          "wrong     art.pack: is no resource pack"}) {
        EXPECT_THAT(run.output(), HasSubstr(std::string("  ") + line));
    }
}

/// The page's bundle has these mistakes, and the page shows what the program says.
TEST(Check, SaysWhatItsPageShows) {
    const TemporaryFolder folder;
    MadeBundle bundle;
    bundle.set("sakura Count", "");
    bundle.set("sakura count", "<integer>60</integer>");
    bundle.set("license", "");
    bundle.draw("Lumivera_petal2.png", 8, 8, MadeBundle::Edge::Clear);
    bundle.draw("lumivera_petal3@2x.png", 17, 16, MadeBundle::Edge::Clear);
    for (const char *name : {"lumivera_petal2", "thumbnail"}) {
        for (const char *ending : {".png", "@2x.png", "@3x.png"}) {
            bundle.remove(std::string(name) + ending);
        }
    }
    std::filesystem::rename(bundle.path(), folder.pathOf("Snow.bundle"));
    const auto commands = commandsIn("checking.md");
    ASSERT_EQ(commands.size(), 1u);
    const ProgramRun run(commands[0],
                         {.environment = {}, .largestFile = {}, .folder = folder.path()});
    EXPECT_EQ(run.status(), 1);
    const std::size_t end = run.output().find(" (seed ");
    ASSERT_NE(end, std::string::npos);
    const std::string page = contentsOf(LUMIVERA_SOURCE_DIR "/Docs/checking.md");
    EXPECT_THAT(page,
                HasSubstr(run.output().substr(folder.path().size(), end - folder.path().size())));
    EXPECT_THAT(page, HasSubstr(run.output().substr(run.output().find('\n'))));
}

/// Much less than the picture of 60000x60000 would take, and enough for all others.
constexpr std::uint64_t kMuchMemory = std::uint64_t{1} << 30;

TEST(Check, TellsOfEachBadPictureOnceWithoutMuchMemory) {
    const MadeBundle bundle;
    const auto petal = [](std::uint32_t x, std::uint32_t y, int channel) {
        const bool isEdge = x == 0 || y == 0 || x == 7 || y == 7;
        return channel == 3 && isEdge ? 0U : 200U;
    };
    const auto text = [](const PNGBuilder::Bytes &bytes) {
        return std::string(bytes.begin(), bytes.end());
    };
    bundle.write(
        "lumivera_flower1.png",
        text(PNGBuilder({.width = 8, .height = 8, .isInterlaced = true}).pixels(petal).finish()));
    bundle.write("lumivera_petal1.png",
                 text(PNGBuilder({.width = 60'000, .height = 60'000})
                          .chunk("IDAT", PNGBuilder::stored(PNGBuilder::Bytes(1000)))
                          .finish()));
    const std::string whole = text(PNGBuilder({.width = 8, .height = 8}).pixels(petal).finish());
    bundle.write("lumivera_petal2.png", whole.substr(0, whole.size() / 2));
    bundle.write("lumivera_petal3.png", "");
    ProgramRun::Options options;
    if (kIsMemoryLimited) {
        options.mostMemory = kMuchMemory;
    }
    const ProgramRun run({"check", bundle.path(), "--seed", "5"}, options);
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    std::string lines = bundle.path() + ": 3 wrong (seed 5)\n";
    for (const char *const name :
         {"lumivera_petal1.png", "lumivera_petal2.png", "lumivera_petal3.png"}) {
        lines += std::string("  wrong     ") + name +
                 ": is damaged, too large or no picture; PNG, JPEG and WebP files of up to 64 "
                 "million pixels are understood  [decoding]\n";
    }
    EXPECT_EQ(run.output(), lines);
}

TEST(Check, SaysLittleOfADescriptionThatHoldsMuch) {
    MadeBundle bundle;
    std::string entries;
    for (int i = 0; i < 100'000; ++i) {
        entries += "<key>petal Count" + std::to_string(i) + "</key><true/>";
    }
    bundle.write("description.plist", propertyList(entries));
    const ProgramRun run({"check", bundle.path(), "--only", "keys"});
    EXPECT_EQ(std::count(run.output().begin(), run.output().end(), '\n'), 102);
    EXPECT_THAT(run.output(), HasSubstr("the rest: there is more of this kind"));
}

TEST(Check, GivesItsFindingsAsJSON) {
    MadeBundle bundle;
    bundle.set("sakura Count", "<integer>500</integer>");
    const ProgramRun run({"check", "--json", "--seed", "9", bundle.path(),
                          shippedBundle("Maple.bundle"), "--only", "ranges", "--only", "keys"});
    EXPECT_EQ(run.status(), 1);
    const Json json = Json::parse(run.output());
    EXPECT_EQ(json["seed"], 9);
    ASSERT_EQ(json["bundles"].size(), 2U);
    const Json &first = json["bundles"][0];
    EXPECT_EQ(first["path"], bundle.path());
    EXPECT_EQ(first["wrong"], 1);
    EXPECT_EQ(first["rules"], Json::array({"keys", "ranges"}));
    EXPECT_EQ(first["remarks"][0]["rule"], "ranges");
    EXPECT_EQ(first["remarks"][0]["degree"], "wrong");
    EXPECT_EQ(first["remarks"][0]["subject"], "description.plist, \"sakura Count\"");
    EXPECT_EQ(json["bundles"][1]["wrong"], 0);
}

TEST(Check, ListsItsRulesAndThePageExplainsEach) {
    const ProgramRun run({"check", "--list"});
    EXPECT_EQ(run.status(), 0);
    const std::string page = contentsOf(LUMIVERA_SOURCE_DIR "/Docs/checking.md");
    std::set<std::string_view> names;
    for (const auto &rule : Lumivera::bundleRules()) {
        names.insert(rule.name);
    }
    for (const auto &rule : Lumivera::codeRules()) {
        EXPECT_TRUE(names.insert(rule.name).second) << rule.name;
    }
    for (const std::string_view name : names) {
        EXPECT_THAT(run.output(), HasSubstr(std::string(name) + " "));
        EXPECT_THAT(page, HasSubstr("| `" + std::string(name) + "` |")) << "in Docs/checking.md";
    }
    EXPECT_EQ(Json::parse(ProgramRun({"check", "--list", "--json"}).output()).size(), names.size());
}

TEST(Check, RefusesWhatMakesNoSense) {
    EXPECT_EQ(ProgramRun({"check"}).status(), 2);
    const ProgramRun unknown({"check", "Lumivera", "--only", "frame"});
    EXPECT_EQ(unknown.status(), 2);
    EXPECT_THAT(unknown.errors(), HasSubstr("there is no such rule; do you mean frames?"));
    const ProgramRun missing({"check", "./none.bundle"});
    EXPECT_EQ(missing.status(), 1);
    EXPECT_THAT(missing.output(), HasSubstr("there is no such bundle"));
    EXPECT_TRUE(missing.saysOneLine());
    EXPECT_EQ(ProgramRun({"check", "unheard-of"}).status(), 1);
}

TEST(Check, RunsNoCodeThatOthersCanWrite) {
    const TemporaryFolder folder;
    const std::string shared = folder.makeFolder("shared");
    const std::string bundle = hostileBundle(shared, "exit-in-init");
    std::filesystem::permissions(shared, std::filesystem::perms::all);
    const ProgramRun run({"check", bundle});
    EXPECT_EQ(run.status(), 1);
    EXPECT_THAT(run.output(), HasSubstr("can be written by others"));
    EXPECT_THAT(run.output(), Not(HasSubstr("status 7")));
    EXPECT_THAT(ProgramRun({"check", bundle, "--trust"}).output(),
                HasSubstr("has exited with status 7, in initResource"));
}

TEST(Check, TellsWhatLaterRulesCannotTell) {
    const TemporaryFolder folder;
    const ProgramRun run({"check", hostileBundle(folder.path(), "nothing-in-return")});
    EXPECT_THAT(run.output(),
                AllOf(HasSubstr("wrong     hostile.so: gave no view for the bundle"),
                      HasSubstr("the rules on code after this one were not applied")));
}

TEST(Check, GoesOnAfterAFailure) {
    const TemporaryFolder folder;
    const ProgramRun run({"check", hostileBundle(folder.path(), "throw-in-tap"), "--seed", "3"});
    EXPECT_EQ(run.status(), 1);
    EXPECT_THAT(run.output(), HasSubstr("threw std::runtime_error in tapActionAtViewPoint: a "
                                        "wallpaper's own mistake  [taps]"));
    EXPECT_THAT(run.output(), HasSubstr("(seed 3)"));
}

class HostileCheck : public ::testing::TestWithParam<BrokenLibrary> {};

TEST_P(HostileCheck, TellsInOneLine) {
    const BrokenLibrary &library = GetParam();
    const TemporaryFolder folder;
    const std::string bundle = hostileBundle(folder.path(), library.deed);
    const ProgramRun run({"check", bundle, "--seed", "5"});
    const bool isWrong = library.degree == Lumivera::Degree::Wrong;
    EXPECT_EQ(run.status(), isWrong ? 1 : 0);
    EXPECT_EQ(run.errors(),
              isWrong ? "lumivera: " + bundle + ": something is wrong; see the lines above\n" : "");
    EXPECT_THAT(run.output(), StartsWith(bundle + ": "));
    std::istringstream lines(run.output());
    const std::string beginning = isWrong ? "  wrong     hostile.so: " : "  doubtful  hostile.so: ";
    bool isTold = false;
    for (std::string line; std::getline(lines, line);) {
        isTold = isTold || (line.starts_with(beginning) && library.isToldIn(line));
    }
    EXPECT_TRUE(isTold) << run.output();
}

INSTANTIATE_TEST_SUITE_P(Libraries, HostileCheck, ::testing::ValuesIn(brokenLibraries(false)),
                         [](const auto &info) { return nameOfBrokenLibrary(info); });

TEST(List, MarksBundlesWithMistakes) {
    MadeBundle bundle;
    bundle.set("name Library", "<string>libLumiveraLiveWallpaper.dylib</string>");
    bundle.set("sakura Count", "<integer>500</integer>");
    bundle.set("sakura count", "<integer>5</integer>");
    const std::string folder = std::filesystem::path(bundle.path()).parent_path();
    EXPECT_THAT(ProgramRun({"list", folder}).output(),
                HasSubstr(bundle.path() + "  (2 mistakes, see `lumivera check`)"));
    const Json entry = Json::parse(ProgramRun({"list", "--json", folder}).output()).at(0);
    EXPECT_TRUE(entry["problem"].is_null());
    EXPECT_THAT(entry["mistakes"].at(0).get<std::string>(), HasSubstr("\"sakura count\""));
}

TEST(MarkedBundle, IsLackingForDoctor) {
    MadeBundle bundle;
    bundle.set("name Library", "<string>libLumiveraLiveWallpaper.dylib</string>");
    std::filesystem::create_symlink("/", bundle.pathOf("libLumiveraLiveWallpaper.dylib"));
    bundle.set("sakura Count", "<integer>500</integer>");
    const TemporaryFolder data;
    const std::string place = data.makeFolder("lumivera") + "/wallpapers";
    std::filesystem::create_directory(place);
    std::filesystem::rename(bundle.path(), place + "/Made.bundle");
    const ProgramRun run(
        {"doctor"},
        {.environment = {"XDG_DATA_HOME=" + data.path()}, .largestFile = {}, .folder = {}});
    EXPECT_THAT(run.output(), HasSubstr("--  Made: " + place +
                                        "/Made.bundle: description.plist, "
                                        "\"sakura Count\": is 500"));
}

} // namespace
