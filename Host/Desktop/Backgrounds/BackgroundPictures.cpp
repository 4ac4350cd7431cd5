#include "Host/Desktop/Backgrounds/BackgroundPictures.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Host/Support/Patience.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <unistd.h>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kEnding = ".png";
constexpr std::uint32_t kBlack = 0xFF000000;

/// A number that differs, but for rare chance, when any pixel does (FNV-1a).
std::string fingerprintOf(std::span<const std::uint32_t> pixels, std::size_t width) {
    std::uint64_t hash = 0xCBF29CE484222325 ^ width;
    for (const std::uint32_t pixel : pixels) {
        hash = (hash ^ pixel) * 0x100000001B3;
    }
    std::array<char, 16> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), hash, 16).ptr;
    return std::string(digits.data(), end);
}

/// An output's name as part of a file name.
std::string fileNameFor(std::string output) {
    for (char &c : output) {
        const bool isPlain =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
        c = isPlain ? c : '_';
    }
    return output.substr(0, 64);
}

/// A picture of the whole screen, which reaches from its first pixel to the last of any output.
struct Canvas {
    explicit Canvas(const std::vector<DesktopPictures::Output> &outputs) {
        for (const auto &output : outputs) {
            width = std::max(width, static_cast<std::size_t>(std::max(output.area.right, 0)));
            height = std::max(height, static_cast<std::size_t>(std::max(output.area.bottom, 0)));
        }
        pixels.assign(width * height, kBlack);
    }

    void draw(const DesktopPictures::Output &output) {
        const auto image = PictureFile::read(output.path);
        const CGImage &bitmap = *image->bitmap();
        const auto left = static_cast<std::size_t>(std::max(output.area.left, 0));
        const auto top = static_cast<std::size_t>(std::max(output.area.top, 0));
        const std::size_t columns = std::min(bitmap.width(), width - std::min(left, width));
        const std::size_t rows = std::min(bitmap.height(), height - std::min(top, height));
        for (std::size_t y = 0; y < rows; ++y) {
            std::copy_n(bitmap.pixels() + y * bitmap.width(), columns,
                        pixels.data() + (top + y) * width + left);
        }
    }

    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::uint32_t> pixels;
};

} // namespace

void BackgroundPictures::set(const std::string &output, const DeviceRect &area,
                             const SharedBuffers &picture) {
    const std::size_t count = std::size_t{picture.width()} * picture.height();
    const std::string path =
        write(fileNameFor(output), {picture.pixels(0), count}, picture.width(), picture.height());
    remove(output);
    _outputs.push_back({output, area, path});
}

void BackgroundPictures::remove(const std::string &output) {
    std::erase_if(_outputs, [&](const auto &known) { return known.name == output; });
}

DesktopPictures BackgroundPictures::pictures(bool withScreen) const {
    return {_outputs, withScreen ? screenPicture() : std::string()};
}

void BackgroundPictures::removeOthers(const std::set<std::string> &texts) const {
    const auto isUsed = [&](const std::string &name) {
        const bool isShown = std::any_of(_outputs.begin(), _outputs.end(), [&](const auto &output) {
            return output.path.ends_with("/" + name);
        });
        return isShown || std::any_of(texts.begin(), texts.end(), [&](const std::string &text) {
                   return text.find(name) != std::string::npos;
               });
    };
    using Names = std::optional<std::vector<std::string>>;
    const auto names = Patience::resultOf<Names>([path = _folder.path()] {
        return NSFileManager::contentsOfDirectoryAtPath_error(path, nullptr);
    });
    std::vector<std::string> unused;
    for (const std::string &name : names.value_or(std::nullopt).value_or(Names::value_type())) {
        if (name.ends_with(kEnding) && !isUsed(name)) {
            unused.push_back(_folder.pathOf(name));
        }
    }
    Patience::finish([unused] {
        for (const std::string &path : unused) {
            unlink(path.c_str());
        }
    });
}

bool BackgroundPictures::isInFolder(const std::string &value) const {
    const std::string start = _folder.path() + "/";
    return value.find(start) != std::string::npos ||
           value.find(fileURI(start)) != std::string::npos;
}

/// The file is not written again when it is there: its name stands for its pixels.
std::string BackgroundPictures::write(const std::string &name,
                                      std::span<const std::uint32_t> pixels, std::size_t width,
                                      std::size_t height) const {
    const std::string path = _folder.pathOf(name + "-" + fingerprintOf(pixels, width) + kEnding);
    const auto isThere = Patience::resultOf<bool>([path] {
        std::error_code error;
        return fs::is_regular_file(path, error);
    });
    if (isThere && *isThere) {
        return path;
    }
    auto bytes = PictureFile::png(pixels, width, height, PictureFile::Compression::Fast, path);
    const bool isWritten = isThere && Patience::finish([path, bytes = std::move(bytes)] {
                               OutputFile file(path, OutputFile::Mode::RegularFile);
                               file.write(bytes.data(), bytes.size());
                               file.commit();
                           });
    if (!isWritten) {
        throw HostError(path, "cannot be written: its file system does not answer");
    }
    return path;
}

std::string BackgroundPictures::screenPicture() const {
    const bool isAlone =
        _outputs.size() == 1 && _outputs[0].area.left == 0 && _outputs[0].area.top == 0;
    if (isAlone) {
        return _outputs[0].path;
    }
    const auto canvas = Patience::resultOf<Canvas>([outputs = _outputs] {
        Canvas drawn(outputs);
        for (const DesktopPictures::Output &output : outputs) {
            drawn.draw(output);
        }
        return drawn;
    });
    if (!canvas) {
        throw HostError(_folder.path(), "cannot be read: its file system does not answer");
    }
    return write("screen", canvas->pixels, canvas->width, canvas->height);
}

} // namespace Lumivera
