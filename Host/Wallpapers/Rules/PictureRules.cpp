#include "Host/Wallpapers/Rules/BundleRules.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/ResourcePack.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Lumivera {

namespace {

using Entry = CheckedBundle::Entry;
using Picture = CheckedBundle::Picture;

constexpr const char *kBackground = "lumivera_background_.png";
constexpr std::array<const char *, 7> kPetals = {
    "lumivera_flower1.png", "lumivera_flower2.png", "lumivera_flower3.png", "lumivera_petal1.png",
    "lumivera_petal2.png",  "lumivera_petal3.png",  "lumivera_petal4.png"};
constexpr const char *kThumbnail = "thumbnail.png";

/// Sides of pictures: of petals in points, of the others in pixels.
constexpr std::uint64_t kMinPetal = 4;
constexpr std::uint64_t kMaxPetal = 160;
constexpr std::uint64_t kMinBackground = 1280;
constexpr std::uint64_t kMaxBackground = 5120;
constexpr std::uint64_t kMinThumbnail = 90;
constexpr std::uint64_t kMaxThumbnail = 1024;

/// The most that the shapes of a background's files may differ.
constexpr double kSameShape = 0.01;

/// A petal whose edge is covered to this share looks cut off.
constexpr double kMuchEdge = 0.5;

constexpr std::uint64_t kMaxPackBytes = std::uint64_t{256} << 20;
constexpr std::size_t kMaxPackNames = 1 << 16;

std::string textOf(const Picture &picture) {
    return std::to_string(picture.width) + "x" + std::to_string(picture.height);
}

bool isPetal(std::string_view name) {
    return std::find(kPetals.begin(), kPetals.end(), name) != kPetals.end();
}

bool isFile(const CheckedBundle &bundle, std::string_view name) {
    const Entry *const entry = bundle.find(name);
    return entry && entry->kind == CheckedBundle::Kind::File;
}

/// All pictures that can be decoded, with their names.
template <class Action> void forEachPicture(const CheckedBundle &bundle, Action action) {
    for (const Entry &entry : bundle.entries()) {
        const bool isPicture =
            entry.kind == CheckedBundle::Kind::File && CheckedBundle::isPictureName(entry.name);
        const Picture *const picture = isPicture ? bundle.picture(entry.name) : nullptr;
        if (picture) {
            action(entry.name, *picture);
        }
    }
}

std::string stemOf(std::string_view name) { return lowerCase(name.substr(0, name.rfind('.'))); }

/// A file that was probably meant to have that name.
std::string misnamed(const CheckedBundle &bundle, const std::string &name) {
    std::vector<std::string> others;
    for (const Entry &entry : bundle.entries()) {
        if (stemOf(entry.name) == stemOf(name)) {
            return entry.name;
        }
        if (CheckedBundle::isPictureName(entry.name) && entry.name != kBackground &&
            !isPetal(CheckedBundle::withoutDensity(entry.name).first)) {
            others.push_back(entry.name);
        }
    }
    return nearestOf(name, others);
}

/// A background fills the screen in any size, so one large file is enough for all screens.
void checkNeeded(const CheckedBundle &bundle, const std::string &name, const Reporter &report) {
    if (isFile(bundle, name)) {
        for (const int density : {2, 3}) {
            if (isPetal(name) && !isFile(bundle, CheckedBundle::withDensity(name, density))) {
                report.advise(CheckedBundle::withDensity(name, density),
                              "is missing, so screens with " + std::to_string(density) +
                                  " pixels a point show another one, scaled",
                              "add it");
            }
        }
        return;
    }
    const std::string other = misnamed(bundle, name);
    report.wrong(name, "is missing" + (other.empty() ? "" : ", but there is " + other),
                 other.empty() ? "the petals need a picture of that name"
                               : "rename it; PNG, JPEG and WebP are all read under that name");
}

void checkPictures(const CheckedBundle &bundle, const Reporter &report) {
    if (!bundle.description() || !bundle.usesShippedLibrary()) {
        return;
    }
    checkNeeded(bundle, kBackground, report);
    for (const char *const name : kPetals) {
        checkNeeded(bundle, name, report);
    }
}

void checkUnused(const CheckedBundle &bundle, const Reporter &report) {
    if (!bundle.description() || !bundle.usesShippedLibrary()) {
        return;
    }
    for (const Entry &entry : bundle.entries()) {
        const std::string name = CheckedBundle::withoutDensity(entry.name).first;
        const bool isNeeded =
            isPetal(lowerCase(name)) || lowerCase(name) == kBackground ||
            std::any_of(kPetals.begin(), kPetals.end(),
                        [&name](std::string_view petal) { return stemOf(petal) == stemOf(name); });
        if (CheckedBundle::isPictureName(name) && !isNeeded && name != kThumbnail) {
            report.doubt(entry.name, "is never shown",
                         "give it the name of a picture that is, or take it out");
        }
    }
}

void checkDecoding(const CheckedBundle &bundle, const Reporter &report) {
    for (const Entry &entry : bundle.entries()) {
        if (entry.kind == CheckedBundle::Kind::File && CheckedBundle::isPictureName(entry.name) &&
            !bundle.picture(entry.name)) {
            report.wrong(entry.name, "is damaged, too large or no picture",
                         "PNG, JPEG and WebP files of up to 64 million pixels are understood");
        }
    }
}

/// A background fills the screen in any size, so that only its shape counts.
void checkShape(const std::string &name, const Picture &picture, const Picture &base,
                const Reporter &report) {
    const auto shape = [](const Picture &p) {
        return static_cast<double>(p.width) / static_cast<double>(p.height);
    };
    if (std::fabs(shape(picture) / shape(base) - 1) > kSameShape) {
        report.wrong(name, "is " + textOf(picture) + ", another shape than " + textOf(base),
                     "scale both from one picture");
    }
}

/// Code may show its pictures as it likes; large ones are probably backgrounds.
bool isBackground(const CheckedBundle &bundle, const std::string &name, const Picture &picture) {
    return name == kBackground ||
           (bundle.hasCode() && std::max(picture.width, picture.height) >= kMinBackground);
}

void checkDensities(const CheckedBundle &bundle, const Reporter &report) {
    forEachPicture(bundle, [&](const std::string &name, const Picture &picture) {
        const auto [baseName, density] = CheckedBundle::withoutDensity(name);
        if (density == 1) {
            return;
        }
        const auto factor = static_cast<std::uint64_t>(density);
        const Picture *const base = isFile(bundle, baseName) ? bundle.picture(baseName) : nullptr;
        if (!isFile(bundle, baseName)) {
            report.wrong(name, "there is no " + baseName + " for other screens", "add it");
        } else if (base && isBackground(bundle, baseName, *base)) {
            checkShape(name, picture, *base, report);
        } else if (base && (picture.width != base->width * factor ||
                            picture.height != base->height * factor)) {
            report.wrong(name,
                         "is " + textOf(picture) + ", not " +
                             textOf({base->width * factor, base->height * factor}) + " as " +
                             baseName + " asks for",
                         "make it exactly " + std::to_string(density) + " times as large");
        }
    });
}

void checkSizes(const CheckedBundle &bundle, const Reporter &report) {
    std::uint64_t longest = 0;
    forEachPicture(bundle, [&](const std::string &name, const Picture &picture) {
        const std::uint64_t side = std::max(picture.width, picture.height);
        const std::string baseName = CheckedBundle::withoutDensity(name).first;
        longest = baseName == kBackground ? std::max(longest, side) : longest;
        if (isPetal(name) && (side < kMinPetal || side > kMaxPetal)) {
            report.doubt(name, "is " + textOf(picture) + " points large",
                         "petals of " + std::to_string(kMinPetal) + " to " +
                             std::to_string(kMaxPetal) + " points look well");
        }
        if (!isPetal(baseName) && side > kMaxBackground) {
            report.doubt(name,
                         "is " + textOf(picture) + " and takes " +
                             std::to_string(picture.width * picture.height * 4 >> 20) +
                             " MiB of memory",
                         "3840 pixels are wide enough for the largest screens");
        }
    });
    if (longest > 0 && longest < kMinBackground) {
        report.doubt(kBackground,
                     "has at most " + std::to_string(longest) +
                         " pixels a side, and is blurred on a desktop",
                     "make it 1920 pixels wide or more");
    }
}

void checkTransparency(const CheckedBundle &bundle, const Reporter &report) {
    if (!bundle.usesShippedLibrary()) {
        return;
    }
    forEachPicture(bundle, [&](const std::string &name, const Picture &picture) {
        const std::string baseName = CheckedBundle::withoutDensity(name).first;
        if (baseName == kBackground && !picture.isOpaque) {
            report.doubt(name, "is transparent in places, where the screen stays black", "fill it");
        } else if (isPetal(baseName) && picture.isOpaque) {
            report.wrong(name, "has no transparency, and falls as a rectangle",
                         "make what is around the petal transparent");
        } else if (isPetal(baseName) && picture.isClear) {
            report.wrong(name, "is wholly transparent", "draw something");
        } else if (isPetal(baseName) && picture.coveredEdge > kMuchEdge) {
            report.doubt(name, "looks cut off at its edge", "leave a transparent pixel around it");
        }
    });
}

void checkThumbnail(const CheckedBundle &bundle, const Reporter &report) {
    if (!bundle.problem().empty()) {
        return;
    }
    if (!isFile(bundle, kThumbnail)) {
        report.doubt(kThumbnail, "is missing, so lists show an empty card",
                     "add a picture of 180x240 pixels");
        return;
    }
    const Picture *const picture = bundle.picture(kThumbnail);
    const std::uint64_t side = picture ? std::max(picture->width, picture->height) : 0;
    if (picture && (side < kMinThumbnail || side > kMaxThumbnail)) {
        report.doubt(kThumbnail, "is " + textOf(*picture),
                     "180x240 pixels suit, with @2x and @3x beside it");
    }
}

/// A file whose first bytes are those of a pack: a number of entries, and a first name.
bool looksLikePack(const CheckedBundle &bundle, const Entry &entry) {
    if (entry.kind != CheckedBundle::Kind::File || CheckedBundle::isPictureName(entry.name) ||
        entry.bytes < 4 || entry.bytes > kMaxPackBytes) {
        return false;
    }
    if (lowerCase(entry.name).ends_with(".pack")) {
        return true;
    }
    std::array<std::uint8_t, 9> start{};
    RegularFile file(bundle.pathOf(entry.name));
    if (!file.isOpen() || file.read(start) != start.size()) {
        return false;
    }
    const std::int32_t count = DataEncrypt::byteToInt(start.data());
    const std::int32_t length = DataEncrypt::byteToInt(start.data() + 4);
    return count > 0 && count < static_cast<std::int32_t>(kMaxPackNames) && length > 0 &&
           length < 256 && start[8] >= ' ' && start[8] < 0x7f;
}

void checkPack(const std::string &name, const ResourcePack &pack, const Reporter &report) {
    if (!pack.problem.empty()) {
        report.wrong(name, pack.problem, "make it anew with `lumivera pack create`");
    }
    for (const DataEncrypt::Pack::Entry &entry : pack.entries) {
        const auto bytes = DataEncrypt::dataWithEncryptionData(entry.value);
        if (!CGImageCreateWithData(bytes)) {
            report.wrong(name, "its entry \"" + entry.key + "\" is no picture",
                         "make the pack anew from pictures");
        }
    }
}

void checkPacks(const CheckedBundle &bundle, const Reporter &report) {
    for (const Entry &entry : bundle.entries()) {
        if (!looksLikePack(bundle, entry)) {
            continue;
        }
        try {
            checkPack(entry.name, ResourcePack::read(bundle.pathOf(entry.name)), report);
        } catch (const HostError &error) {
            report.add(Degree::Wrong, error.what());
        }
    }
}

} // namespace

std::vector<BundleRule> pictureRules() {
    return {{"pictures", "the pictures that the petals need are there", true, checkPictures},
            {"unused", "every picture is shown somewhere", true, checkUnused},
            {"decoding", "every picture can be decoded", false, checkDecoding},
            {"densities", "@2x and @3x are exactly twice and three times as large", false,
             checkDensities},
            {"sizes", "the sizes suit screens and memory", false, checkSizes},
            {"transparency", "petals are transparent around their shape", false, checkTransparency},
            {"thumbnail", "there is a thumbnail of a good size", false, checkThumbnail},
            {"packs", "resource packs are whole and hold pictures", false, checkPacks}};
}

} // namespace Lumivera
