#include "Host/Wallpapers/PetalPictures.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/BundleFolder.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace Lumivera {

namespace {

constexpr std::array<const char *, PetalPictures::kCount> kNames{
    "lumivera_flower1", "lumivera_flower2", "lumivera_flower3", "lumivera_petal1",
    "lumivera_petal2",  "lumivera_petal3",  "lumivera_petal4"};

/// Limits of a petal of another bundle.
constexpr std::uint64_t kMaxBytes = 16 << 20;
constexpr std::uint64_t kMaxPixels = 4'000'000;

constexpr std::array<const char *, 3> kEndings{".png", "@2x.png", "@3x.png"};

void append(PetalPictures::Files &files, const PetalPictures::Files &more,
            const std::string &name) {
    for (const auto &[ending, bytes] : more) {
        files.push_back({name + ending, bytes});
    }
}

/// The files of one petal, with the endings of their names.
PetalPictures::Files madeFrom(const std::string &path) {
    constexpr NSUInteger kMost = PetalPictures::kSide * kEndings.size();
    const auto picture = PictureFile::readCovering(path, kMost, kMost);
    if (picture->isOpaque()) {
        printError(path + ": has no transparent parts, so it falls as a rectangle");
    }
    const NSUInteger longer = std::max(picture->width(), picture->height());
    const NSUInteger side = std::min(PetalPictures::kSide, longer);
    const auto scaled = [=](NSUInteger pixels) {
        return std::max<NSUInteger>(1, (pixels * side + longer / 2) / longer);
    };
    const NSUInteger width = scaled(picture->width());
    const NSUInteger height = scaled(picture->height());
    PetalPictures::Files files;
    for (NSUInteger density = 1; density <= kEndings.size(); ++density) {
        if (width * density > picture->width() || height * density > picture->height()) {
            break;
        }
        const auto small = PictureFile::reduced(*picture, width * density, height * density);
        files.push_back({kEndings[density - 1], PictureFile::png(*small, path)});
    }
    return files;
}

/// A file that can be decoded.
PictureFile::Bytes readPetal(const std::string &path) {
    auto bytes = readFile(path, kMaxBytes);
    if (!bytes || !CGImageCreateWithData(*bytes, kMaxPixels)) {
        throw HostError(path, "is damaged, too large or no picture",
                        "the petals of a bundle have 4 million pixels at most");
    }
    return std::move(*bytes);
}

} // namespace

PetalPictures::Files PetalPictures::ofBundle(const std::string &path) {
    const BundleFolder folder(path, BundleFolder::Trust::Anybody);
    Files files;
    for (const std::string name : kNames) {
        if (!folder.hasFile(name + kEndings.front())) {
            throw HostError(folder.path() + "/" + name + kEndings.front(), "is missing",
                            "give a bundle that has petals, or picture files");
        }
        for (const char *ending : kEndings) {
            if (folder.hasFile(name + ending)) {
                files.push_back({name + ending, readPetal(folder.path() + "/" + name + ending)});
            }
        }
    }
    return files;
}

PetalPictures::Files PetalPictures::ofPictures(const std::vector<std::string> &paths) {
    std::vector<Files> made;
    for (const std::string &path : paths) {
        made.push_back(madeFrom(path));
    }
    Files files;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        append(files, made[i % made.size()], kNames[i]);
    }
    return files;
}

} // namespace Lumivera
