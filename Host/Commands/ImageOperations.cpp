#include "Host/Commands/ImageOperations.h"

#include "Animation/Common/ImageSet.h"
#include "Animation/Common/NSData+DataEncrypt.h"
#include "Host/Commands/ImageFilesCommand.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/ColorText.h"
#include "Platform/CoreGraphics/CGImageOperations.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>

namespace Lumivera {

namespace {

constexpr double kLargestRadius = 1e6;

/// A picture in, a PNG file out.
class PictureCommand : public ImageFilesCommand {
  public:
    using ImageFilesCommand::ImageFilesCommand;

  protected:
    /// Null when nothing comes of it.
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
        return std::filesystem::path(name).replace_extension(".png").string();
    }

    void checkNewName(const std::string &name) const final {
        if (std::filesystem::path(name).extension() != ".png") {
            throw UsageError(name, "would be a PNG file under another name", "let OUT end in .png");
        }
    }
};

/// One that has a colour.
class ColorCommand : public PictureCommand {
  public:
    using PictureCommand::PictureCommand;

  protected:
    void declareArguments(CLI::App &app) override {
        app.add_option("COLOUR", _text, "#rgb, #rrggbb, #rrggbbaa or a name")->required();
    }

    void prepare() override {
        const CGColor color = colorFromText("COLOUR", _text);
        _color =
            UIColor::colorWithRed_green_blue_alpha(color.red, color.green, color.blue, color.alpha);
    }

    const UIColor *color() const { return _color.get(); }

  private:
    std::string _text;
    Retained<UIColor> _color;
};

class TintCommand final : public ColorCommand {
  public:
    TintCommand() : ColorCommand("tint", "Fills the picture's shape and shades it (multiply).") {}

  private:
    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        return ImageSet::colorizeImage_withColor(image, color());
    }
};

class OverlayCommand final : public ColorCommand {
  public:
    OverlayCommand()
        : ColorCommand("overlay", "Fills the picture's shape and lays it over (overlay).") {}

  private:
    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        return SpriteExtend::imageColorOverlay(image.get(), color());
    }
};

/// One that has a second picture.
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
        if (!CGImageMask::maskCreate(picture()->bitmap().get())) {
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

    /// A whole number behind a separator; a minus sign takes the place of a plus.
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
            ->check(CLI::Range(0.0, kLargestRadius).description(""));
    }

    void prepare() override {
        if (std::isnan(_radius)) {
            throw UsageError("RADIUS", "is no number", "give a number of pixels");
        }
    }

    /// A larger radius would turn the outline inside out.
    Retained<UIImage> applied(const Retained<UIImage> &image) const override {
        const CGSize size = image->size();
        const double limit = std::min(size.width, size.height) / 2;
        return SpriteExtend::imageWithRoundCorners(image.get(),
                                                   static_cast<CGFloat>(std::min(_radius, limit)));
    }

    double _radius = 0;
};

/// A picture file's bytes in, the same bytes scrambled out, or the other way round.
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

std::vector<std::unique_ptr<Command>> imageOperations() {
    std::vector<std::unique_ptr<Command>> operations;
    operations.push_back(std::make_unique<TintCommand>());
    operations.push_back(std::make_unique<OverlayCommand>());
    operations.push_back(std::make_unique<MaskCommand>());
    operations.push_back(std::make_unique<ClipCommand>());
    operations.push_back(std::make_unique<GreyCommand>());
    operations.push_back(std::make_unique<CombineCommand>());
    operations.push_back(std::make_unique<RoundCommand>());
    operations.push_back(std::make_unique<ScrambleCommand>(
        "scramble", "Hides a picture file from programs that look for pictures.", false));
    operations.push_back(
        std::make_unique<ScrambleCommand>("unscramble", "Brings a scrambled file back.", true));
    return operations;
}

} // namespace Lumivera
