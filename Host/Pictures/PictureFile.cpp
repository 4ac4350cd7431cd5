#include "Host/Pictures/PictureFile.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Platform/CoreGraphics/CGImageEncoding.h"
#include "Platform/Foundation/FileBytes.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr int kCompressionLevel = 6;

bool hasPictureName(const fs::path &path) {
    constexpr std::array<std::string_view, 4> kEndings = {".png", ".jpg", ".jpeg", ".webp"};
    std::string ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return std::find(kEndings.begin(), kEndings.end(), ending) != kEndings.end();
}

} // namespace

Retained<UIImage> PictureFile::read(const std::string &path) {
    auto image = UIImage::imageWithData(readBytes(path));
    if (!image) {
        refuse(path, "picture");
    }
    return image;
}

PictureFile::Bytes PictureFile::readBytes(const std::string &path) {
    auto bytes = readFile(path, CGImage::kMaximumBytes);
    if (!bytes) {
        throw HostError(path, "cannot be read as a file of less than 256 MiB",
                        "check the name and its permissions");
    }
    return std::move(*bytes);
}

PictureFile::Bytes PictureFile::png(const UIImage &image, const std::string &path) {
    const CGImage &bitmap = *image.bitmap();
    auto bytes = CGImageWritePNG(bitmap.pixels(), bitmap.width(), bitmap.height(), bitmap.width(),
                                 kCompressionLevel);
    if (bytes.empty()) {
        throw HostError(path, "cannot be encoded: out of memory", "try a smaller picture");
    }
    return bytes;
}

void PictureFile::write(std::span<const std::uint8_t> bytes, const std::string &path) {
    OutputFile file(path);
    file.write(bytes.data(), bytes.size());
    file.commit();
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
