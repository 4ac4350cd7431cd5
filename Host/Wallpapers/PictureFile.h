#pragma once

#include "Host/Support/OutputFile.h"
#include "Platform/UIKit/UIImage.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Lumivera {

/// Reads and writes picture files. Every failure is a HostError that names the file.
class PictureFile {
  public:
    using Bytes = std::vector<std::uint8_t>;

    /// The picture at scale 1, even when the name says @2x.
    static Retained<UIImage> read(const std::string &path);

    /// The picture made smaller, so that it just covers width × height pixels; one that is not
    /// larger stays as it is. Of a billion pixels at most, where the format allows to make it
    /// smaller while it is decoded.
    static Retained<CGImage> readCovering(const std::string &path, NSUInteger width,
                                          NSUInteger height);

    /// The picture made smaller to that size in pixels, which is not larger than its own.
    static Retained<CGImage> reduced(const CGImage &image, NSUInteger width, NSUInteger height);

    /// The bytes of a file that may be a picture, less than 256 MiB.
    static Bytes readBytes(const std::string &path);

    /// Encodes the picture as PNG; `path` is for messages.
    static Bytes png(const UIImage &image, const std::string &path);
    static Bytes png(const CGImage &image, const std::string &path);

    static void write(std::span<const std::uint8_t> bytes, const std::string &path);

    enum class Compression { Fast, Small };

    /// Encodes pixels as those of writePNG(); `path` is for messages.
    static Bytes png(std::span<const std::uint32_t> pixels, std::size_t width, std::size_t height,
                     Compression compression, const std::string &path);

    /// Writes a picture as PNG; pixels as in CGImage, without gaps between rows.
    static void writePNG(OutputFile &file, std::span<const std::uint32_t> pixels, std::size_t width,
                         std::size_t height, Compression compression);

    /// True when the name ends as those of PNG, JPEG and WebP files do.
    static bool hasPictureName(const std::string &path);

    /// The sorted names of the folder's PNG, JPEG and WebP files, by their extensions.
    static std::vector<std::string> namesInFolder(const std::string &folder);

    /// Throws the HostError for a file that cannot be decoded.
    [[noreturn]] static void refuse(const std::string &path, const std::string &kind);
};

} // namespace Lumivera
