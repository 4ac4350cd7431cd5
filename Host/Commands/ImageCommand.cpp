#include "Host/Commands/Command.h"

#include "Animation/Common/ImageSet.h"
#include "Animation/Common/NSData+DataEncrypt.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/ColorText.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Platform/CoreGraphics/ImageOperations.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kHelp = "Tints, masks, cuts, rounds and scrambles pictures.";

constexpr const char *kMore =
    "IN is a picture, and OUT a PNG file; or IN is a folder of pictures, and OUT the folder\n"
    "into which each goes under its own name. COLOUR is #rgb, #rrggbb, #rrggbbaa or a name.";

constexpr double kMaxRadius = 1e6;

void makeFolder(const std::string &path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (!fs::is_directory(path, error)) {
        throw HostError(path, "cannot be made as a folder",
                        "a folder of pictures needs a folder to go to");
    }
}

/// An operation on a picture file, or on every picture of a folder.
class ImageFilesCommand : public Command {
  public:
    ImageFilesCommand(const char *name, const char *help) : _name(name), _help(help) {}
    void declare(CLI::App &parent) override;
    void run() override;

  protected:
    using Bytes = PictureFile::Bytes;

    /// Declares the arguments after IN.
    virtual void declareArguments(CLI::App &) {}

    /// Parses the arguments, once, before any file is read.
    virtual void prepare() {}

    /// Converts the file at `path` and returns the bytes of the new file.
    virtual Bytes converted(const std::string &path) const = 0;

    /// The new name of a file from a folder.
    virtual std::string newName(const std::string &name) const = 0;

    /// Throws a UsageError for names whose extension does not fit the new file.
    virtual void checkNewName(const std::string &) const {}

  private:
    void convertFolder() const;
    void checkNewNames(const std::vector<std::string> &names) const;

    const char *const _name;
    const char *const _help;
    std::string _input;
    std::string _output;
};

void ImageFilesCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand(_name, _help);
    _app->add_option("IN", _input, "A picture, or a folder of pictures")->required();
    declareArguments(*_app);
    _app->add_option("-o,--output", _output, "The new file, or the folder for the new files")
        ->type_name("OUT")
        ->required();
}

void ImageFilesCommand::run() {
    std::error_code error;
    const bool isFolder = fs::is_directory(_input, error);
    if (!isFolder) {
        checkNewName(_output);
    }
    prepare();
    if (isFolder) {
        convertFolder();
    } else {
        PictureFile::write(converted(_input), _output);
    }
}

void ImageFilesCommand::convertFolder() const {
    const auto names = PictureFile::namesInFolder(_input);
    checkNewNames(names);
    makeFolder(_output);
    std::error_code error;
    if (fs::equivalent(_input, _output, error)) {
        throw HostError(_output, "is the folder of the pictures itself", "give another folder");
    }
    ProgressBar progress(_name, names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        const fs::path from = fs::path(_input) / names[i];
        const fs::path to = fs::path(_output) / newName(names[i]);
        PictureFile::write(converted(from.string()), to.string());
        progress.update(i + 1);
    }
}

/// Checks before the first file is written that no two files get the same name.
void ImageFilesCommand::checkNewNames(const std::vector<std::string> &names) const {
    std::map<std::string, std::string> sources;
    for (const std::string &name : names) {
        const auto [other, isNew] = sources.emplace(newName(name), name);
        if (!isNew) {
            throw HostError((fs::path(_input) / name).string(),
                            "would become the same file as " + other->second, "rename one");
        }
    }
}

/// Makes a PNG file of a picture.
class PictureCommand : public ImageFilesCommand {
  public:
    using ImageFilesCommand::ImageFilesCommand;

  protected:
    /// Null on failure.
    virtual Retained<UIImage> applied(const Retained<UIImage> &image) const = 0;

    virtual std::string whyNothing() const { return "is too large to be worked on"; }

    Bytes converted(const std::string &path) const final {
        const auto result = applied(PictureFile::read(path));
        if (!result) {
            throw HostError(path, whyNothing());
        }
        return PictureFile::png(*result, path);
    }

    std::string newName(const std::string &name) const final {
        return fs::path(name).replace_extension(".png").string();
    }

    void checkNewName(const std::string &name) const final {
        if (fs::path(name).extension() != ".png") {
            throw UsageError(name, "would be a PNG file under another name", "let OUT end in .png");
        }
    }
};

/// A picture operation with a colour.
class ColorCommand final : public PictureCommand {
  public:
    using Operation = Retained<UIImage> (*)(const Retained<UIImage> &image, const UIColor *color);

    ColorCommand(const char *name, const char *help, Operation operation)
        : PictureCommand(name, help), _operation(operation) {}

  private:
    void declareArguments(CLI::App &app) override {
        app.add_option("COLOUR", _text, "#rgb, #rrggbb, #rrggbbaa or a name")->required();
    }

    void prepare() override {
        const CGColor color = colorFromText("COLOUR", _text);
        _color =
            UIColor::colorWithRed_green_blue_alpha(color.red, color.green, color.blue, color.alpha);
    }

    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        return _operation(image, _color.get());
    }

    const Operation _operation;
    std::string _text;
    Retained<UIColor> _color;
};

/// A picture operation with a second picture.
class SecondPictureCommand : public PictureCommand {
  public:
    SecondPictureCommand(const char *name, const char *help, const char *argument,
                         const char *argumentHelp)
        : PictureCommand(name, help), _argument(argument), _argumentHelp(argumentHelp) {}

  protected:
    void declareArguments(CLI::App &app) override {
        app.add_option(_argument, _path, _argumentHelp)->required();
    }

    void prepare() override { _picture = PictureFile::read(_path); }

    const std::string &path() const { return _path; }
    const UIImage *picture() const { return _picture.get(); }

  private:
    const char *const _argument;
    const char *const _argumentHelp;
    std::string _path;
    Retained<UIImage> _picture;
};

class MaskCommand final : public SecondPictureCommand {
  public:
    MaskCommand()
        : SecondPictureCommand("mask", "Hides the picture where a mask is light.", "MASK",
                               "A grey picture without transparent parts") {}

  private:
    void prepare() override {
        SecondPictureCommand::prepare();
        if (!ImageMask::maskCreate(picture()->bitmap().get())) {
            throw HostError(path(), "is no mask, for it has colours or transparent parts",
                            "give a grey, opaque picture");
        }
    }

    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        return ImageSet::maskImage_withImage(image.get(), picture());
    }
};

class CombineCommand final : public SecondPictureCommand {
  public:
    CombineCommand()
        : SecondPictureCommand("combine", "Draws another picture over the whole of it.", "TOP",
                               "The picture on top, stretched to the size of IN") {}

  private:
    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        return SpriteExtend::drawToImage(image.get(), picture());
    }
};

class ClipCommand final : public PictureCommand {
  public:
    ClipCommand() : PictureCommand("clip", "Cuts a rectangle out.") {}

  private:
    void declareArguments(CLI::App &app) override {
        app.add_option("RECT", _text, "WxH+X+Y in pixels from the top left, as 64x48+10+0")
            ->required();
    }

    void prepare() override {
        const char *at = _text.data();
        const bool isRect = readNumber(at, '\0', _rect.size.width) && _rect.size.width > 0 &&
                            readNumber(at, 'x', _rect.size.height) && _rect.size.height > 0 &&
                            readNumber(at, '+', _rect.origin.x) &&
                            readNumber(at, '+', _rect.origin.y) && *at == '\0';
        if (!isRect) {
            throw UsageError("RECT", "\"" + _text + "\" is no rectangle",
                             "write it as WxH+X+Y, as 64x48+10+0");
        }
    }

    /// Reads a whole number after a separator. A minus sign may replace the separator '+'.
    bool readNumber(const char *&at, char separator, CGFloat &number) const {
        if (separator != '\0' && *at == separator) {
            ++at;
        } else if (separator == 'x' || (separator == '+' && *at != '-')) {
            return false;
        }
        int value = 0;
        const auto result = std::from_chars(at, _text.data() + _text.size(), value);
        at = result.ptr;
        number = value;
        return result.ec == std::errc();
    }

    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        return SpriteExtend::clipImageWithRect(image.get(), _rect);
    }

    std::string whyNothing() const override { return "has nothing inside " + _text; }

    std::string _text;
    CGRect _rect;
};

class GreyCommand final : public PictureCommand {
  public:
    GreyCommand() : PictureCommand("grey", "Turns it grey, over black where it is transparent.") {}

  private:
    void declareArguments(CLI::App &app) override {
        app.add_flag("--clear-black", _clearsBlack, "Makes pure black transparent");
    }

    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        return SpriteExtend::createGrayImageWithAlpha(image.get(), _clearsBlack);
    }

    bool _clearsBlack = false;
};

class RoundCommand final : public PictureCommand {
  public:
    RoundCommand() : PictureCommand("round", "Rounds the corners.") {}

  private:
    void declareArguments(CLI::App &app) override {
        app.add_option("RADIUS", _radius, "In pixels, at most half of the shorter side")
            ->required()
            ->check(CLI::Range(0.0, kMaxRadius).description(""));
    }

    void prepare() override {
        if (std::isnan(_radius)) {
            throw UsageError("RADIUS", "is no number", "give a number of pixels");
        }
    }

    /// The radius is limited because a larger one would turn the outline inside out.
    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        const CGSize size = image->size();
        const double limit = std::min(size.width, size.height) / 2;
        return SpriteExtend::imageWithRoundCorners(image.get(),
                                                   static_cast<CGFloat>(std::min(_radius, limit)));
    }

    double _radius = 0;
};

/// Scrambles the bytes of a picture file, or unscrambles them.
class ScrambleCommand final : public ImageFilesCommand {
  public:
    ScrambleCommand(const char *name, const char *help, bool isScrambled)
        : ImageFilesCommand(name, help), _isScrambled(isScrambled) {}

  private:
    Bytes converted(const std::string &path) const override {
        Bytes bytes = PictureFile::readBytes(path);
        if (!SpriteExtend::imageWithData_dencrypt(bytes, _isScrambled)) {
            PictureFile::refuse(path, _isScrambled ? "scrambled picture" : "picture");
        }
        DataEncrypt::transformPairs(bytes);
        return bytes;
    }

    std::string newName(const std::string &name) const override { return name; }

    const bool _isScrambled;
};

} // namespace

std::unique_ptr<Command> makeImageCommand() {
    Commands operations;
    operations.push_back(std::make_unique<ColorCommand>(
        "tint", "Fills the picture's shape and shades it (multiply).",
        [](const Retained<UIImage> &image, const UIColor *color) {
            return ImageSet::colorizeImage_withColor(image, color);
        }));
    operations.push_back(std::make_unique<ColorCommand>(
        "overlay", "Fills the picture's shape and lays it over (overlay).",
        [](const Retained<UIImage> &image, const UIColor *color) {
            return SpriteExtend::imageColorOverlay(image.get(), color);
        }));
    operations.push_back(std::make_unique<MaskCommand>());
    operations.push_back(std::make_unique<ClipCommand>());
    operations.push_back(std::make_unique<GreyCommand>());
    operations.push_back(std::make_unique<CombineCommand>());
    operations.push_back(std::make_unique<RoundCommand>());
    operations.push_back(std::make_unique<ScrambleCommand>(
        "scramble", "Hides a picture file from programs that look for pictures.", false));
    operations.push_back(
        std::make_unique<ScrambleCommand>("unscramble", "Brings a scrambled file back.", true));
    return makeCommandGroup("image", kHelp, kMore, std::move(operations));
}

} // namespace Lumivera
