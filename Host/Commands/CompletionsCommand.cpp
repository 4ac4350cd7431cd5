#include "Host/Commands/Command.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

namespace Lumivera {

namespace {

/// Quotes a text as one word for bash, zsh and fish.
std::string asWord(std::string_view text) {
    std::string result = "'";
    for (const char c : text) {
        result += c == '\'' ? std::string(R"('\'')") : std::string(1, c);
    }
    return result + "'";
}

/// The first line of a help text, without its full stop.
std::string firstLine(const std::string &text) {
    std::string line = text.substr(0, text.find('\n'));
    if (line.ends_with('.')) {
        line.pop_back();
    }
    return line;
}

std::string pathBelow(const std::string &path, const std::string &name) {
    return path.empty() ? name : path + " " + name;
}

/// Makes scripts that let a shell complete the program's command lines, from the commands and
/// options that were declared to CLI11.
class ShellCompletions {
  public:
    /// All commands must have been declared. Leaves out what the help hides.
    explicit ShellCompletions(const CLI::App &program);

    std::string bash() const;
    std::string zsh() const;
    std::string fish() const;

  private:
    /// A subcommand's name or an option.
    struct Word {
        std::string text;
        std::string description;
        bool takesValue = false;
    };

    /// A command, such as "pack list", or the program itself, whose path is empty.
    struct Entry {
        std::string path;
        std::vector<Word> commands;
        std::vector<Word> options;
    };

    void add(const CLI::App &app, const std::string &path, const std::vector<Word> &inherited);
    std::string walk(std::string_view indent) const;

    std::vector<Entry> _entries;
};

ShellCompletions::ShellCompletions(const CLI::App &program) { add(program, "", {}); }

std::string ShellCompletions::bash() const {
    std::string text =
        "# Completions of lumivera for bash.\n"
        "_lumivera() {\n"
        "    local current=${COMP_WORDS[COMP_CWORD]} command= commands= options= word\n"
        "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n" +
        walk("        ") +
        "    done\n"
        "    case $command in\n";
    const auto words = [](const std::vector<Word> &all) {
        std::string list;
        for (const Word &word : all) {
            list.append(list.empty() ? "" : " ").append(word.text);
        }
        return asWord(list);
    };
    for (const Entry &command : _entries) {
        text += "    " + asWord(command.path) + ") commands=" + words(command.commands) +
                " options=" + words(command.options) + " ;;\n";
    }
    return text + "    esac\n"
                  "    [[ $current != -* ]] || commands=$options\n"
                  "    COMPREPLY=($(compgen -W \"$commands\" -- \"$current\"))\n"
                  "}\n"
                  "complete -o bashdefault -o default -F _lumivera lumivera\n";
}

std::string ShellCompletions::zsh() const {
    std::string text = "#compdef lumivera\n"
                       "# Completions of lumivera for zsh.\n"
                       "_lumivera() {\n"
                       "    local command= word\n"
                       "    local -a commands options\n"
                       "    for word in ${words[2,CURRENT-1]}; do\n" +
                       walk("        ") +
                       "    done\n"
                       "    case $command in\n";
    const auto words = [](const std::vector<Word> &all) {
        std::string list;
        for (const Word &word : all) {
            list += "\n            " + asWord(word.text + ":" + word.description);
        }
        return "(" + list + ")";
    };
    for (const Entry &command : _entries) {
        text += "    " + asWord(command.path) + ")\n        commands=" + words(command.commands) +
                "\n        options=" + words(command.options) + "\n        ;;\n";
    }
    return text + "    esac\n"
                  "    if [[ $words[CURRENT] == -* ]]; then\n"
                  "        _describe -o option options\n"
                  "    elif (( $#commands )); then\n"
                  "        _describe command commands\n"
                  "    else\n"
                  "        _files\n"
                  "    fi\n"
                  "}\n"
                  "_lumivera \"$@\"\n";
}

std::string ShellCompletions::fish() const {
    std::string text = "# Completions of lumivera for fish.\n"
                       "function __lumivera_command\n"
                       "    set -l command\n"
                       "    for word in (commandline -opc)[2..-1]\n"
                       "        switch \"$command $word\"\n";
    for (const Entry &command : _entries) {
        for (const Word &word : command.commands) {
            text += "            case " + asWord(command.path + " " + word.text) +
                    "\n                set command " + asWord(pathBelow(command.path, word.text)) +
                    "\n";
        }
    }
    text += "        end\n"
            "    end\n"
            "    echo \"$command\"\n"
            "end\n";
    for (const Entry &command : _entries) {
        const std::string line =
            "complete -c lumivera -n 'test (__lumivera_command) = \"" + command.path + "\"'";
        for (const Word &word : command.commands) {
            text += line + " -f -a " + asWord(word.text) + " -d " + asWord(word.description) + "\n";
        }
        for (const Word &option : command.options) {
            const bool isLong = option.text.starts_with("--");
            text += line + (isLong ? " -l " : " -s ") + option.text.substr(isLong ? 2 : 1) +
                    (option.takesValue ? " -r" : "") + " -d " + asWord(option.description) + "\n";
        }
    }
    return text;
}

/// Adds a command and those below it. Commands with fallthrough also take their parent's options.
void ShellCompletions::add(const CLI::App &app, const std::string &path,
                           const std::vector<Word> &inherited) {
    Entry command{path, {}, {}};
    const auto addOption = [&command](const CLI::Option &option, const std::string &name) {
        command.options.push_back(
            {name, firstLine(option.get_description()), option.get_items_expected_max() > 0});
    };
    for (const CLI::Option *option : app.get_options()) {
        if (option->get_group().empty()) {
            continue; // hidden
        }
        for (const std::string &name : option->get_lnames()) {
            addOption(*option, "--" + name);
        }
        for (const std::string &name : option->get_snames()) {
            addOption(*option, "-" + name);
        }
    }
    std::vector<const CLI::App *> below;
    for (const CLI::App *sub : app.get_subcommands([](const CLI::App *) { return true; })) {
        if (!sub->get_group().empty()) {
            command.commands.push_back({sub->get_name(), firstLine(sub->get_description())});
            below.push_back(sub);
        }
    }
    const std::vector<Word> own = command.options;
    for (const Word &word : inherited) {
        const auto isSame = [&](const Word &known) { return known.text == word.text; };
        if (std::none_of(own.begin(), own.end(), isSame)) {
            command.options.push_back(word);
        }
    }
    _entries.push_back(std::move(command));
    for (const CLI::App *sub : below) {
        add(*sub, pathBelow(path, sub->get_name()),
            sub->get_fallthrough() ? own : std::vector<Word>());
    }
}

/// The part of the bash and zsh scripts that finds the command for the words before the cursor.
std::string ShellCompletions::walk(std::string_view indent) const {
    std::string text = std::string(indent) + "case \"$command $word\" in\n";
    for (const Entry &command : _entries) {
        for (const Word &word : command.commands) {
            text.append(indent)
                .append(asWord(command.path + " " + word.text))
                .append(") command=")
                .append(asWord(pathBelow(command.path, word.text)))
                .append(" ;;\n");
        }
    }
    return text.append(indent).append("esac\n");
}

/// lumivera completions: prints the completion script for a shell. Hidden in the help, because only
/// packaging needs it.
class CompletionsCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _program = &parent;
        _app = parent.add_subcommand("completions", "Prints a script of completions for a shell.");
        _app->group("");
        _app->add_option("SHELL", _shell, "bash, zsh or fish")->required();
    }

    void run() override {
        const ShellCompletions completions(*_program);
        if (_shell == "bash") {
            printToStandardOutput(completions.bash());
        } else if (_shell == "zsh") {
            printToStandardOutput(completions.zsh());
        } else if (_shell == "fish") {
            printToStandardOutput(completions.fish());
        } else {
            throw UsageError(_shell, "is no shell that is known", "use bash, zsh or fish");
        }
    }

  private:
    CLI::App *_program = nullptr;
    std::string _shell;
};

} // namespace

std::unique_ptr<Command> makeCompletionsCommand() { return std::make_unique<CompletionsCommand>(); }

} // namespace Lumivera
