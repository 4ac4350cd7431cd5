#include "Host/Commands/Making/BundleMaker.h"

#include "Animation/Common/ImageSet.h"
#include "Host/Desktop/Isolation/RenderingProcess.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/PetalPictures.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Host/Wallpapers/Places.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

namespace Lumivera {

namespace {

constexpr const char *kBackground = "lumivera_background_.png";

/// The shape of a screen that the background covers at its width.
constexpr NSUInteger kAcross = 16;
constexpr NSUInteger kDown = 9;

/// The thumbnail in points, and the part of a screen that it shows: petals are half their size.
constexpr NSUInteger kThumbnailWidth = 180;
constexpr NSUInteger kThumbnailHeight = 240;
constexpr CGFloat kShownPart = 2;
constexpr NSUInteger kThumbnailFrame = 40;
constexpr NSUInteger kMaxDensity = 3;

constexpr std::size_t kSteps = 4;

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string descriptionOf(const BundleRecipe &recipe) {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
    const auto add = [&text](const char *key, const std::string &element) {
        text.append("\t<key>").append(key).append("</key>\n\t").append(element).append("\n");
    };
    const auto addText = [&add](const char *key, const std::string &value) {
        if (!value.empty()) {
            add(key, "<string>" + escaped(value) + "</string>");
        }
    };
    add("sakura Count", "<integer>" + std::to_string(recipe.petalCount) + "</integer>");
    add("falling Speed", "<integer>" + std::to_string(recipe.speed) + "</integer>");
    addText("name", recipe.name);
    addText("author", recipe.author);
    addText("summary", recipe.summary);
    addText("license", recipe.license);
    return text + "</dict>\n</plist>\n";
}

Retained<CGImage> tinted(const Retained<CGImage> &image, const CGColor &tint,
                         const std::string &path) {
    const auto color =
        UIColor::colorWithRed_green_blue_alpha(tint.red, tint.green, tint.blue, tint.alpha);
    const auto whole =
        UIImage::imageWithCGImage_scale_orientation(image, 1, UIImageOrientation::Up);
    const auto result = ImageSet::colorizeImage_withColor(whole, color.get());
    if (!result) {
        throw HostError(path, "is too large to be tinted", "give a smaller --width");
    }
    return result->bitmap();
}

PictureFile::Bytes backgroundOf(const BundleRecipe &recipe) {
    auto image =
        PictureFile::readCovering(recipe.background, recipe.width, recipe.width * kDown / kAcross);
    if (recipe.tint && recipe.tint->alpha > 0) {
        image = tinted(image, *recipe.tint, recipe.background);
    }
    return PictureFile::png(*image, recipe.background);
}

bool isFolder(const std::string &path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

PetalPictures::Files petalsOf(const BundleRecipe &recipe) {
    const std::vector<std::string> &petals = recipe.petals;
    if (petals.empty()) {
        return PetalPictures::ofBundle(Places::defaultBundle());
    }
    const bool isBundle =
        petals.size() == 1 && (isFolder(petals[0]) || !PictureFile::hasPictureName(petals[0]));
    return isBundle ? PetalPictures::ofBundle(Places::requireBundle(petals[0]))
                    : PetalPictures::ofPictures(petals);
}

/// A frame of the wallpaper, for three pixels a point of the thumbnail.
Retained<CGImage> rendered(const std::string &bundle) {
    RenderingProcess::Start start;
    start.bundle = bundle;
    start.settings.size = {kThumbnailWidth * kShownPart, kThumbnailHeight * kShownPart};
    start.settings.density = kMaxDensity / kShownPart;
    start.seed = 1;
    start.frameCount = kThumbnailFrame + 1;
    start.firstPicture = kThumbnailFrame;
    RenderingProcess process(start);
    const RenderingProcess::Frame *frame = nullptr;
    for (NSUInteger i = 0; i <= kThumbnailFrame; ++i) {
        frame = process.nextFrame();
        if (!frame) {
            throw HostError(bundle, "was not finished");
        }
    }
    return CGImage::imageWithPixels(kThumbnailWidth * kMaxDensity, kThumbnailHeight * kMaxDensity,
                                    {frame->pixels.begin(), frame->pixels.end()});
}

/// The process knows the bundle by its name for the time being.
Retained<CGImage> renderedThumbnail(const OutputFolder &folder) {
    try {
        return rendered(folder.partPath());
    } catch (const HostError &error) {
        throw HostError(folder.path(), std::string("cannot be shown: ") + error.what());
    }
}

void writeThumbnails(const OutputFolder &folder) {
    const auto largest = renderedThumbnail(folder);
    if (!largest) {
        throw HostError(folder.path(), "cannot be shown", "try again");
    }
    for (NSUInteger density = 1; density <= kMaxDensity; ++density) {
        const std::string name =
            density == 1 ? "thumbnail.png" : "thumbnail@" + std::to_string(density) + "x.png";
        const auto image =
            PictureFile::reduced(*largest, kThumbnailWidth * density, kThumbnailHeight * density);
        folder.write(name, PictureFile::png(*image, folder.path()));
    }
}

void writeText(const OutputFolder &folder, const std::string &name, const std::string &text) {
    folder.write(name, {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
}

} // namespace

void BundleMaker::make(const BundleRecipe &recipe, OutputFolder &folder) {
    ProgressBar progress("making", kSteps);
    const auto petals = petalsOf(recipe);
    for (const PetalPictures::File &file : petals) {
        folder.write(file.name, file.bytes);
    }
    progress.update(1);
    folder.write(kBackground, backgroundOf(recipe));
    progress.update(2);
    writeText(folder, "description.plist", descriptionOf(recipe));
    writeThumbnails(folder);
    progress.update(3);
    folder.commit();
    progress.update(kSteps);
}

} // namespace Lumivera
