#pragma once

#include "Host/Support/OutputFile.h"
#include "Platform/UIKit/UIImage.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Lumivera {

/// Pictures as files. Every failure is a HostError that names the file.
class PictureFile {
  public:
    using Bytes = std::vector<std::uint8_t>;

    /// The file's own pixels, at scale 1 whatever its name says.
    static Retained<UIImage> read(const std::string &path);

    /// The bytes of a file that may be a picture.
    static Bytes readBytes(const std::string &path);

    /// The picture as a PNG file; `path` is for messages.
    static Bytes png(const UIImage &image, const std::string &path);

    static void write(std::span<const std::uint8_t> bytes, const std::string &path);

    /// What counts more: to be ready soon, or to take little room.
    enum class Compression { Fast, Small };

    /// Writes a whole picture as PNG; pixels as in CGImage, without gaps between rows.
    static void writePNG(OutputFile &file, std::span<const std::uint32_t> pixels, std::size_t width,
                         std::size_t height, Compression compression);

    /// The names of the folder's files that end as PNG, JPEG or WebP files do, sorted.
    static std::vector<std::string> namesInFolder(const std::string &folder);

    /// Says that the file is not what can be decoded.
    [[noreturn]] static void refuse(const std::string &path, const std::string &kind);
};

} // namespace Lumivera
