#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace Lumivera {

/// Scripts that let a shell complete the program's command lines, made from the declarations that
/// the program itself reads them by.
class ShellCompletions {
  public:
    /// Everything must have been declared to the program. What its help hides stays hidden.
    explicit ShellCompletions(const CLI::App &program);

    std::string bash() const;
    std::string zsh() const;
    std::string fish() const;

  private:
    /// A word that may stand on the command line.
    struct Word {
        std::string text;
        std::string description;
        bool takesValue = false;
    };

    /// A command, or the program itself, whose path is empty: "", "pack", "pack list".
    struct Command {
        std::string path;
        std::vector<Word> commands;
        std::vector<Word> options;
    };

    void add(const CLI::App &app, const std::string &path, const std::vector<Word> &inherited);
    std::string walk(std::string_view indent) const;

    std::vector<Command> _commands;
};

} // namespace Lumivera
