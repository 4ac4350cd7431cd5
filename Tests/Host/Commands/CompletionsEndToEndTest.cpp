#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/VirtualScreen.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

std::string scriptFor(const std::string &shell) {
    const ProgramRun run({"completions", shell});
    EXPECT_EQ(run.status(), 0) << run.errors();
    return run.output();
}

/// Calls back with every command's path and with what its help lists: subcommands and long options.
void walkHelp(const std::vector<std::string> &path,
              const std::function<void(const std::string &path, const std::string &word)> &found) {
    std::vector<std::string> arguments = path;
    arguments.emplace_back("--help");
    std::istringstream help(ProgramRun(arguments).output());
    std::string name;
    for (const std::string &part : path) {
        name += (name.empty() ? "" : " ") + part;
    }
    bool isBelowCommands = false;
    for (std::string line; std::getline(help, line);) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (!line.starts_with("  ")) {
            isBelowCommands = line == "Subcommands:";
        } else if (isBelowCommands && line[2] != ' ') {
            found(name, word);
            std::vector<std::string> below = path;
            below.push_back(word);
            walkHelp(below, found);
        } else if (const std::size_t dashes = word.find("--"); dashes != std::string::npos) {
            found(name, word.substr(dashes, word.find_first_of(",=", dashes) - dashes));
        }
    }
}

/// What bash offers for the last of these words.
std::string bashOffers(const std::string &script, const std::string &words) {
    return outputOf("bash -c 'source " + script + "; COMP_WORDS=(" + words +
                    "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _lumivera; "
                    "echo \"${COMPREPLY[@]}\"'");
}

class ShellCompletionsTest : public ::testing::Test {
  protected:
    std::string script(const std::string &shell) const {
        return _folder.write("lumivera." + shell, scriptFor(shell));
    }

    TemporaryFolder _folder;
};

TEST_F(ShellCompletionsTest, KnowsEverythingThatTheHelpLists) {
    const std::string bash = script("bash");
    const std::string fish = scriptFor("fish");
    int count = 0;
    walkHelp({}, [&](const std::string &path, const std::string &word) {
        ++count;
        const std::string offers = " " + bashOffers(bash, "lumivera " + path + " " + word);
        EXPECT_THAT(offers.substr(0, offers.size() - 1) + " ", HasSubstr(" " + word + " ")) << path;
        const bool isOption = word.starts_with("--");
        EXPECT_THAT(fish,
                    HasSubstr("\"" + path + "\"' " +
                              (isOption ? "-l " + word.substr(2) + " " : "-f -a '" + word + "' ")));
    });
    EXPECT_GT(count, 80);
}

TEST_F(ShellCompletionsTest, CompletesCommandsInBash) {
    const std::string bash = script("bash");
    EXPECT_EQ(bashOffers(bash, "lumivera pack \"\""), "create list extract\n");
    EXPECT_EQ(bashOffers(bash, "lumivera ctl --output X se"), "set\n");
    EXPECT_EQ(bashOffers(bash, "lumivera ctl set --j"), "--json\n");
}

TEST_F(ShellCompletionsTest, LeavesFileNamesToTheShell) {
    EXPECT_EQ(bashOffers(script("bash"), "lumivera render \"\""), "\n");
}

TEST_F(ShellCompletionsTest, HidesWhatTheHelpHides) {
    for (const char *shell : {"bash", "zsh", "fish"}) {
        EXPECT_THAT(scriptFor(shell), Not(HasSubstr("'completions"))) << shell;
    }
    EXPECT_THAT(ProgramRun({"--help"}).output(), Not(HasSubstr("completions")));
}

TEST_F(ShellCompletionsTest, CompletesCommandsInFish) {
    if (!isInstalled("fish")) {
        GTEST_SKIP() << "needs fish";
    }
    EXPECT_EQ(outputOf("fish --no-config -c 'source " + script("fish") +
                       "; complete -C \"lumivera ctl s\"' | cut -f1"),
              "screenshot\nset\nstatus\n");
}

TEST_F(ShellCompletionsTest, IsReadByZsh) {
    if (!isInstalled("zsh")) {
        GTEST_SKIP() << "needs zsh";
    }
    EXPECT_EQ(outputOf("zsh -n " + script("zsh") + " 2>&1 && echo fine"), "fine\n");
    EXPECT_THAT(scriptFor("zsh"), HasSubstr("#compdef lumivera\n"));
    EXPECT_THAT(scriptFor("zsh"), HasSubstr("'--json:Prints the host'\\''s answer, for programs'"));
}

TEST_F(ShellCompletionsTest, KnowsNoOtherShell) {
    const ProgramRun run({"completions", "tcsh"});
    EXPECT_EQ(run.status(), 2);
    EXPECT_TRUE(run.saysOneLine());
}

} // namespace
