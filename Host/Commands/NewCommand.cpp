#include "Host/Commands/Command.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/CodeTemplate.h"
#include "Host/Wallpapers/Places.h"

#include <CLI/CLI.hpp>
#include <string>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Makes a new wallpaper, for you to go on with.";
constexpr const char *kMore =
    "With --code, OUT is a new folder with the sources of a small wallpaper in C++,\n"
    "its pictures, a sound and a test. It needs the kit, the package liblumivera-dev.";

/// Quotes a path as one word for a shell, where it needs that.
std::string asWord(const std::string &text) {
    if (text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                               "_-./+") == std::string::npos) {
        return text;
    }
    std::string word;
    for (const char c : text) {
        word += c == '\'' ? std::string(R"('\'')") : std::string(1, c);
    }
    return "'" + word + "'";
}

/// CMake looks into these by itself.
bool isFoundByCMake(const std::string &prefix) {
    return prefix == "/usr" || prefix == "/usr/local";
}

class NewCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand("new", kHelp);
        _app->footer(kMore);
        _app->add_option("OUT", _output, "The new folder; its name becomes the wallpaper's")
            ->required();
        _app->add_flag("--code", _isCode, "Makes a wallpaper with code of its own");
    }

    void run() override {
        if (!_isCode) {
            throw UsageError("new", "does not know what to make",
                             "give --code for a wallpaper in C++");
        }
        makeCode();
    }

  private:
    void makeCode() const {
        CodeTemplate(Places::templateFolder()).copyTo(_output);
        const std::string prefix = Places::prefix();
        const std::string folder = asWord(inOneLine(_output));
        printToStandardOutput(
            "made " + inOneLine(_output) + "; type next:\n  cmake -S " + folder + " -B " + folder +
            "/build" + (isFoundByCMake(prefix) ? "" : " -D CMAKE_PREFIX_PATH=" + asWord(prefix)) +
            "\n  cmake --build " + folder + "/build\n");
    }

    std::string _output;
    bool _isCode = false;
};

} // namespace

std::unique_ptr<Command> makeNewCommand() { return std::make_unique<NewCommand>(); }

} // namespace Lumivera
