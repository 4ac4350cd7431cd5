#include "Host/Wallpapers/CodeTemplate.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

class CodeTemplateTest : public ::testing::Test {
  protected:
    CodeTemplateTest() {
        fs::create_directories(_folder.pathOf("template/Art"));
        _folder.write("template/NewNameView.cpp", "class NewName; // NewNameNewName\n");
        _folder.write("template/Art/NewName.bin", std::string("\0NewName\xff\0", 10));
        _folder.write("template/.hidden", "");
    }

    std::string problemOf(const std::function<void()> &deed) {
        try {
            deed();
        } catch (const HostError &error) {
            return error.what();
        }
        return {};
    }

    std::string problemOfCopying(const std::string &name) {
        return problemOf([&] { CodeTemplate(_template).copyTo(_folder.pathOf(name)); });
    }

    TemporaryFolder _folder;
    const std::string _template = _folder.pathOf("template");
};

TEST_F(CodeTemplateTest, GivesTheNewNameToFilesAndWhatIsInThem) {
    EXPECT_EQ(problemOfCopying("Fireflies"), "");
    EXPECT_EQ(contentsOf(_folder.pathOf("Fireflies/FirefliesView.cpp")),
              "class Fireflies; // FirefliesFireflies\n");
    EXPECT_EQ(contentsOf(_folder.pathOf("Fireflies/Art/Fireflies.bin")),
              std::string("\0Fireflies\xff\0", 12));
    EXPECT_TRUE(fs::exists(_folder.pathOf("Fireflies/.hidden")));
    EXPECT_FALSE(fs::exists(_folder.pathOf("Fireflies/Fireflies")));
}

TEST_F(CodeTemplateTest, TakesTheNameOfAFolderWithASlashAtItsEnd) {
    EXPECT_EQ(problemOfCopying("Fireflies/"), "");
    EXPECT_TRUE(fs::exists(_folder.pathOf("Fireflies/FirefliesView.cpp")));
}

TEST_F(CodeTemplateTest, MayContainTheOldName) {
    EXPECT_EQ(problemOfCopying("ANewNameMore"), "");
    EXPECT_EQ(contentsOf(_folder.pathOf("ANewNameMore/ANewNameMoreView.cpp")),
              "class ANewNameMore; // ANewNameMoreANewNameMore\n");
}

TEST_F(CodeTemplateTest, RefusesNamesThatAreNoneInCode) {
    for (const std::string &name :
         {std::string("fireflies"), std::string("Fire flies"), std::string("Fire-flies"),
          std::string("9Flies"), std::string("Feuerk\xc3\xa4"), std::string("Fire.bundle"),
          std::string(65, 'F'), std::string("ALL_BUILD"), std::string(".")}) {
        EXPECT_THAT(problemOfCopying(name), HasSubstr("is no name for a wallpaper with code; "))
            << name;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(_folder.path()), fs::directory_iterator()), 1);
}

TEST_F(CodeTemplateTest, RefusesNamesOfTargetsThatCMakeHas) {
    for (const std::string name : {"INSTALL", "PACKAGE", "TEST", "ALL", "HELP", "CLEAN"}) {
        EXPECT_THAT(problemOfCopying(name), HasSubstr(name + ": has a name that CMake keeps"));
        EXPECT_FALSE(fs::exists(_folder.pathOf(name)));
    }
    EXPECT_EQ(problemOfCopying("Test"), "");
}

TEST_F(CodeTemplateTest, LeavesWhatIsThereAlone) {
    for (const bool isFolder : {true, false}) {
        const std::string name = isFolder ? "Folder" : "File";
        isFolder ? _folder.makeFolder(name) : _folder.write(name, "mine");
        EXPECT_THAT(problemOfCopying(name), HasSubstr("is there already; take another name"));
        EXPECT_FALSE(fs::exists(_folder.pathOf(name + "/.hidden")));
    }
    EXPECT_EQ(contentsOf(_folder.pathOf("File")), "mine");
}

TEST_F(CodeTemplateTest, NamesTheFolderThatCannotBeMade) {
    EXPECT_THAT(problemOfCopying("none/Fireflies"),
                HasSubstr("none/Fireflies: cannot be made: No such file or directory; check"));
}

TEST_F(CodeTemplateTest, LeavesNothingWhenItCannotBeWritten) {
    _folder.write("template/NewName" + std::string(240, 'x'), "");
    EXPECT_THAT(problemOfCopying("F" + std::string(40, 'y')), HasSubstr("too long"));
    EXPECT_EQ(std::distance(fs::directory_iterator(_folder.path()), fs::directory_iterator()), 1);
}

TEST_F(CodeTemplateTest, IsMissingWhereTheKitIsNotInstalled) {
    EXPECT_THAT(problemOf([&] { CodeTemplate(_folder.pathOf("none")); }),
                HasSubstr("the kit for wallpapers with code is not installed; install the package "
                          "liblumivera-dev"));
}

TEST_F(CodeTemplateTest, IsDamagedWithoutFilesOrWithOneThatIsNone) {
    EXPECT_THAT(problemOf([&] { CodeTemplate(_folder.makeFolder("empty")); }),
                HasSubstr("the template cannot be read; install it again"));
    fs::create_symlink("/nowhere", _template + "/link");
    EXPECT_THAT(problemOf([&] { CodeTemplate{_template}; }),
                HasSubstr("template/link: cannot be read as part of the template"));
}

} // namespace
