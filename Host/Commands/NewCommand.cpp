#include "Host/Commands/Command.h"

#include "Host/Commands/Making/BundleMaker.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/CodeTemplate.h"
#include "Host/Wallpapers/ColorText.h"
#include "Host/Wallpapers/PetalPictures.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/WallpaperChoice.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <utility>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kHelp = "Makes a wallpaper of a photo, or begins one in C++.";

constexpr const char *kMore =
    "OUT is a folder whose name ends in .bundle. The photo is turned upright and made smaller if\n"
    "screens do not need its size. Petals come from a bundle, or from 1 to 7 pictures with\n"
    "transparent parts, which are made as small as petals. `lumivera run PHOTO` makes a bundle\n"
    "among your own wallpapers, and shows it.\n"
    "With --code, OUT is a new folder with the sources of a small wallpaper in C++, its pictures,\n"
    "a sound and a test. It needs the kit, the package liblumivera-dev.";

bool isThere(const std::string &path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

bool isBundle(const std::string &path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::directory &&
           fs::exists(fs::path(path) / "description.plist", error);
}

fs::path withoutSlash(const std::string &text) {
    const fs::path path = fs::path(text).lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

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

/// A path as commands take it: without a slash it would be the name of an installed bundle.
std::string asArgument(const std::string &path) {
    return asWord(path.find('/') == std::string::npos ? "./" + path : path);
}

/// CMake looks into these by itself.
bool isFoundByCMake(const std::string &prefix) {
    return prefix == "/usr" || prefix == "/usr/local";
}

/// lumivera new: a bundle of pictures alone, or the sources of a wallpaper with code.
class NewCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    void makeOfPhoto();
    void makeCode() const;
    void declareText(const char *option, std::string &text, const char *help);
    void checkOutput() const;
    void checkTexts() const;

    std::string _output;
    BundleRecipe _recipe;
    std::string _tint;
    bool _isReplaced = false;
    bool _isCode = false;
};

void NewCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("new", kHelp);
    _app->footer(kMore);
    _app->add_option("OUT", _output, "The bundle to make, or the folder")->required();
    _app->add_option("--background", _recipe.background, "The photo: PNG, JPEG or WebP")
        ->type_name("PHOTO");
    _app->add_option("--petals", _recipe.petals, "A bundle with petals, or pictures [Lumivera]")
        ->type_name("BUNDLE|FILE");
    _app->add_option("--count", _recipe.petalCount, "Petals, 1 to 300 [80]")
        ->type_name("N")
        ->check(CLI::Range(1, BundleRecipe::kMaxPetals).description(""));
    _app->add_option("--speed", _recipe.speed, "Speed level, 0 or more [1]")
        ->type_name("N")
        ->check(CLI::Range(0, static_cast<int>(kMaxSpeed)).description(""));
    _app->add_option("--tint", _tint, "Shades the background: #rgb, #rrggbb, #rrggbbaa or a name")
        ->type_name("COLOUR");
    _app->add_option("--width", _recipe.width, "Pixels of the background, 16 to 7680 [3840]")
        ->type_name("N")
        ->check(CLI::Range(NSUInteger{16}, BundleRecipe::kMaxWidth).description(""));
    declareText("--name", _recipe.name, "Its name for people [that of OUT]");
    declareText("--author", _recipe.author, "Who made it");
    declareText("--summary", _recipe.summary, "What it shows, in a sentence");
    declareText("--license", _recipe.license, "What others may do with it, such as CC0-1.0");
    _app->add_flag("--force", _isReplaced, "Replaces a bundle of that name");
    CLI::Option *const code =
        _app->add_flag("--code", _isCode, "Begins a wallpaper with code of its own");
    for (CLI::Option *const option : _app->get_options([code](const CLI::Option *option) {
             return option->nonpositional() && option != code;
         })) {
        if (option != _app->get_help_ptr()) {
            code->excludes(option);
        }
    }
}

void NewCommand::declareText(const char *option, std::string &text, const char *help) {
    _app->add_option(option, text, help)->type_name("TEXT");
}

void NewCommand::run() {
    if (!_isCode && _recipe.background.empty()) {
        throw UsageError("new", "does not know what to make",
                         "give --background PHOTO, or --code for a wallpaper in C++");
    }
    _isCode ? makeCode() : makeOfPhoto();
}

void NewCommand::makeCode() const {
    CodeTemplate(Places::templateFolder()).copyTo(_output);
    const std::string prefix = Places::prefix();
    const std::string output = inOneLine(withoutSlash(_output).string());
    const std::string folder = asWord(output);
    const std::string name = fs::path(output).filename().string();
    printToStandardOutput(
        "made " + output + "; type next:\n  cmake -S " + folder + " -B " + folder + "/build" +
        (isFoundByCMake(prefix) ? "" : " -D CMAKE_PREFIX_PATH=" + asWord(prefix)) +
        "\n  cmake --build " + folder + "/build\n  lumivera render " +
        asWord(output + "/build/" + name + ".bundle") + " -o " + asWord(output + ".webp") + "\n");
}

void NewCommand::makeOfPhoto() {
    checkOutput();
    checkTexts();
    if (!_tint.empty()) {
        _recipe.tint = colorFromText("--tint", _tint);
    }
    using Existing = OutputFolder::Existing;
    OutputFolder folder(_output, _isReplaced ? Existing::Replaced : Existing::Refused);
    if (_recipe.name.empty()) {
        _recipe.name = inOneLine(fs::path(folder.path()).stem().string());
    }
    BundleMaker::make(_recipe, folder);
    const std::string path = inOneLine(folder.path());
    printToStandardOutput(path + " is ready; see it with `lumivera run " + asArgument(path) +
                          "`\n");
}

void NewCommand::checkOutput() const {
    const fs::path path = withoutSlash(_output);
    if (path.extension() != ".bundle") {
        throw UsageError(_output, "is no name of a bundle", "let OUT end in .bundle");
    }
    if (!_isReplaced && isThere(path.string())) {
        throw HostError(_output, "is there already",
                        "give another name, or replace it with --force");
    }
    if (_isReplaced && isThere(path.string()) && !isBundle(path.string())) {
        throw HostError(_output, "is there already and is no bundle", "give another name");
    }
    if (_recipe.petals.size() > PetalPictures::kCount) {
        throw UsageError("--petals", "a wallpaper has 7 pictures of petals at most",
                         "give fewer files");
    }
}

/// The texts go into a property list, which takes no control characters.
void NewCommand::checkTexts() const {
    for (const auto &[option, text] :
         {std::pair("--name", _recipe.name), std::pair("--author", _recipe.author),
          std::pair("--summary", _recipe.summary), std::pair("--license", _recipe.license)}) {
        if (inOneLine(text) != text) {
            throw UsageError(option, "has control characters or is no UTF-8", "give a plain text");
        }
    }
}

} // namespace

std::unique_ptr<Command> makeNewCommand() { return std::make_unique<NewCommand>(); }

} // namespace Lumivera
