#include "Host/Wallpapers/PictureFile.h"

#include "Host/Support/HostError.h"
#include "Platform/Compositor/ScaledPictures.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr int kFastLevel = 1;
constexpr int kSmallLevel = 6;

PictureFile::Bytes encode(std::span<const std::uint32_t> pixels, std::size_t width,
                          std::size_t height, int level, const std::string &path) {
    auto bytes = encodePNG(pixels.data(), width, height, width, level);
    if (bytes.empty()) {
        throw HostError(path, "cannot be encoded: out of memory", "try a smaller size");
    }
    return bytes;
}

} // namespace

Retained<UIImage> PictureFile::read(const std::string &path) {
    auto image = UIImage::imageWithData(readBytes(path));
    if (!image) {
        refuse(path, "picture");
    }
    return image;
}

Retained<CGImage> PictureFile::readCovering(const std::string &path, NSUInteger width,
                                            NSUInteger height) {
    const auto image = CGImageCreateReducedWithData(readBytes(path), width, height);
    if (!image) {
        throw HostError(path, "is damaged, too large or no picture",
                        "PNG, JPEG and WebP files are understood, most of them up to a billion "
                        "pixels");
    }
    const auto across = static_cast<double>(image->width());
    const auto down = static_cast<double>(image->height());
    const double factor =
        std::max(static_cast<double>(width) / across, static_cast<double>(height) / down);
    const auto scaled = [factor](double side) {
        return std::max<NSUInteger>(1, static_cast<NSUInteger>(std::llround(side * factor)));
    };
    return factor < 1 ? reduced(*image, scaled(across), scaled(down)) : image;
}

Retained<CGImage> PictureFile::reduced(const CGImage &image, NSUInteger width, NSUInteger height) {
    return CGImage::imageWithPixels(width, height,
                                    PictureScaler::reduced(Picture::whole(image),
                                                           static_cast<int>(width),
                                                           static_cast<int>(height)));
}

PictureFile::Bytes PictureFile::readBytes(const std::string &path) {
    auto bytes = readFile(path, CGImage::kMaxBytes);
    if (!bytes) {
        throw HostError(path, "cannot be read as a file of less than 256 MiB",
                        "check the name and its permissions");
    }
    return std::move(*bytes);
}

PictureFile::Bytes PictureFile::png(const UIImage &image, const std::string &path) {
    return png(*image.bitmap(), path);
}

PictureFile::Bytes PictureFile::png(const CGImage &image, const std::string &path) {
    return encode({image.pixels(), image.width() * image.height()}, image.width(), image.height(),
                  kSmallLevel, path);
}

void PictureFile::write(std::span<const std::uint8_t> bytes, const std::string &path) {
    OutputFile file(path);
    file.write(bytes.data(), bytes.size());
    file.commit();
}

PictureFile::Bytes PictureFile::png(std::span<const std::uint32_t> pixels, std::size_t width,
                                    std::size_t height, Compression compression,
                                    const std::string &path) {
    const int level = compression == Compression::Fast ? kFastLevel : kSmallLevel;
    return encode(pixels, width, height, level, path);
}

void PictureFile::writePNG(OutputFile &file, std::span<const std::uint32_t> pixels,
                           std::size_t width, std::size_t height, Compression compression) {
    const Bytes bytes = png(pixels, width, height, compression, file.path());
    file.write(bytes.data(), bytes.size());
}

bool PictureFile::hasPictureName(const std::string &path) {
    constexpr std::array<std::string_view, 4> kEndings = {".png", ".jpg", ".jpeg", ".webp"};
    std::string ending = fs::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return std::find(kEndings.begin(), kEndings.end(), ending) != kEndings.end();
}

std::vector<std::string> PictureFile::namesInFolder(const std::string &folder) {
    auto names = NSFileManager::contentsOfDirectoryAtPath_error(folder, nullptr);
    if (!names) {
        throw HostError(folder, "cannot be read as a folder", "check its permissions");
    }
    std::erase_if(*names, [&folder](const std::string &name) {
        std::error_code error;
        return name.starts_with('.') || !hasPictureName(name) ||
               !fs::is_regular_file(fs::path(folder) / name, error);
    });
    if (names->empty()) {
        throw HostError(folder, "has no pictures", "give a folder of PNG, JPEG or WebP files");
    }
    return std::move(*names);
}

void PictureFile::refuse(const std::string &path, const std::string &kind) {
    throw HostError(path, "is damaged, too large or no " + kind,
                    "PNG, JPEG and WebP files of up to 64 million pixels are understood");
}

} // namespace Lumivera
