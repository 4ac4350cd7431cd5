#include "Host/Wallpapers/Rules/CheckedBundle.h"

#include "Host/Wallpapers/Rules/BundleRules.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kOwnLibrary = "libLumiveraLiveWallpaper.dylib";
constexpr std::uint32_t kAlphaShift = 24;
constexpr std::uint32_t kCovering = 0x80;

std::string withoutSlash(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    return path;
}

CheckedBundle::Kind kindOf(const fs::file_status &status) {
    switch (status.type()) {
    case fs::file_type::regular:
        return CheckedBundle::Kind::File;
    case fs::file_type::directory:
        return CheckedBundle::Kind::Folder;
    case fs::file_type::symlink:
        return CheckedBundle::Kind::Link;
    default:
        return CheckedBundle::Kind::Other;
    }
}

double coveredEdgeOf(const CGImage &image) {
    std::size_t covered = 0;
    std::size_t count = 0;
    for (NSUInteger y = 0; y < image.height(); ++y) {
        const bool isEdge = y == 0 || y + 1 == image.height();
        const NSUInteger step = isEdge ? 1 : std::max<NSUInteger>(image.width() - 1, 1);
        for (NSUInteger x = 0; x < image.width(); x += step) {
            ++count;
            covered += image.pixels()[y * image.width() + x] >> kAlphaShift >= kCovering ? 1 : 0;
        }
    }
    return static_cast<double>(covered) / static_cast<double>(count);
}

CheckedBundle::Picture pictureOf(const CGImage &image) {
    const std::uint32_t *const end = image.pixels() + image.width() * image.height();
    const bool isClear = std::all_of(image.pixels(), end,
                                     [](std::uint32_t pixel) { return pixel >> kAlphaShift == 0; });
    return {image.width(), image.height(), image.isOpaque(), isClear, coveredEdgeOf(image)};
}

std::pair<std::string, std::string> splitAtDot(const std::string &name) {
    const std::size_t dot = std::min(name.rfind('.'), name.size());
    return {name.substr(0, dot), name.substr(dot)};
}

} // namespace

CheckedBundle::CheckedBundle(std::string path, BundleFolder::Trust trust)
    : _path(withoutSlash(std::move(path))), _trust(trust) {
    readEntries();
    if (const Entry *entry = find(kDescriptionName); entry && entry->kind == Kind::File) {
        _description = NSDictionary::dictionaryWithContentsOfFile(pathOf(kDescriptionName));
    }
}

void CheckedBundle::readEntries() {
    std::error_code error;
    if (fs::is_symlink(_path, error) || !fs::is_directory(_path, error)) {
        _problem = fs::is_symlink(_path, error) ? "is a link, not a bundle"
                   : fs::exists(_path, error)   ? "is a file, not a bundle"
                                                : "there is no such bundle";
        return;
    }
    const std::string start = _path + "/";
    for (fs::recursive_directory_iterator entry(_path, error), end; !error && entry != end;
         entry.increment(error)) {
        _hasTooMuch = _entries.size() >= BundleFolder::kMaxEntries ||
                      entry.depth() > static_cast<int>(BundleFolder::kMaxDepth);
        if (_hasTooMuch) {
            break;
        }
        std::error_code unknown;
        const Kind kind = kindOf(entry->symlink_status(unknown));
        const std::uint64_t bytes = kind == Kind::File ? entry->file_size(unknown) : 0;
        _entries.push_back({entry->path().string().substr(start.size()), kind, bytes});
    }
    _problem = error ? "cannot be read: " + error.message() : "";
    std::sort(_entries.begin(), _entries.end(),
              [](const Entry &a, const Entry &b) { return a.name < b.name; });
}

const CheckedBundle::Entry *CheckedBundle::find(std::string_view name) const {
    const auto found = std::lower_bound(
        _entries.begin(), _entries.end(), name,
        [](const Entry &entry, std::string_view wanted) { return entry.name < wanted; });
    return found != _entries.end() && found->name == name ? &*found : nullptr;
}

std::string CheckedBundle::text(std::string_view key) const {
    const PropertyList *const value = _description ? _description->objectForKey(key) : nullptr;
    return value && value->text() ? *value->text() : std::string();
}

bool CheckedBundle::usesShippedLibrary() const {
    const std::string name = text("name Library");
    return name.empty() || name == kOwnLibrary;
}

const CheckedBundle::Picture *CheckedBundle::picture(const std::string &name) const {
    const auto [place, isNew] = _pictures.emplace(name, std::nullopt);
    if (isNew) {
        const auto bytes = readFile(pathOf(name), CGImage::kMaxBytes);
        const auto image = bytes ? CGImageCreateWithData(*bytes) : nullptr;
        if (image) {
            place->second = pictureOf(*image);
        }
    }
    return place->second ? &*place->second : nullptr;
}

bool CheckedBundle::isPictureName(std::string_view name) {
    constexpr std::array<std::string_view, 4> kEndings = {".png", ".jpg", ".jpeg", ".webp"};
    const std::string lower = lowerCase(name);
    return std::any_of(kEndings.begin(), kEndings.end(),
                       [&lower](std::string_view ending) { return lower.ends_with(ending); });
}

std::pair<std::string, int> CheckedBundle::withoutDensity(const std::string &name) {
    const auto [stem, ending] = splitAtDot(name);
    for (const int density : {2, 3}) {
        const std::string mark = "@" + std::to_string(density) + "x";
        if (stem.ends_with(mark)) {
            return {stem.substr(0, stem.size() - mark.size()) + ending, density};
        }
    }
    return {name, 1};
}

std::string CheckedBundle::withDensity(const std::string &name, int density) {
    const auto [stem, ending] = splitAtDot(name);
    return stem + "@" + std::to_string(density) + "x" + ending;
}

} // namespace Lumivera
