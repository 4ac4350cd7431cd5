#include "Exhibit.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <span>

namespace {

using Picture = Retained<UIImage>;

std::string pathOf(const std::string &name) {
    const auto bundle = ImageCache::sharedInstance()->resBundle();
    return bundle ? bundle->resourcePath() + "/" + name : name;
}

Picture tint(const Picture &flower) {
    const auto violet = UIColor::colorWithRed_green_blue_alpha(0.5, 0.35, 1, 1);
    return ImageSet::colorizeImage_withColor(flower, violet.get());
}

Picture overlay(const Picture &flower) {
    const auto orange = UIColor::colorWithRed_green_blue_alpha(1, 0.5, 0.1, 1);
    return SpriteExtend::imageColorOverlay(flower.get(), orange.get());
}

Picture mask(const Picture &flower) {
    return ImageSet::maskImage_withImage(flower.get(), Lumivera::picture("ring.png").get());
}

Picture clip(const Picture &flower) {
    const CGSize size = flower->size();
    return SpriteExtend::clipImageWithRect(
        flower.get(), CGRectMake(0, 0, std::ceil(size.width * 0.6), std::ceil(size.height * 0.6)));
}

Picture grey(const Picture &flower) {
    return SpriteExtend::createGrayImageWithAlpha(flower.get(), false);
}

Picture greyWhereClear(const Picture &flower) {
    return SpriteExtend::createGrayImageWithAlpha(flower.get(), true);
}

Picture combine(const Picture &flower) {
    return SpriteExtend::drawToImage(Lumivera::picture("tile.png").get(), flower.get());
}

Picture roundCorners(const Picture &flower) {
    const auto scene = SpriteExtend::drawToImage(Lumivera::picture("sky.png").get(), flower.get());
    return SpriteExtend::imageWithRoundCorners(scene.get(), 60);
}

/// Turns the rows of the raw pixels round.
Picture mirror(const Picture &flower) {
    const std::unique_ptr<std::uint8_t, decltype(&std::free)> bytes(
        SpriteExtend::getImageData(flower.get()), std::free);
    if (!bytes) {
        return nullptr;
    }
    const NSUInteger width = flower->bitmap()->width(), height = flower->bitmap()->height();
    PixelBuffer pixels(width * height);
    for (NSUInteger i = 0; i < width * height; ++i) {
        const std::uint8_t *pixel = bytes.get() + 4 * (i + width - 1 - 2 * (i % width));
        pixels[i] = std::uint32_t{pixel[0]} << 24 | std::uint32_t{pixel[1]} << 16 |
                    std::uint32_t{pixel[2]} << 8 | pixel[3];
    }
    return UIImage::imageWithCGImage_scale_orientation(
        CGImage::imageWithPixels(width, height, std::move(pixels)), 1, UIImageOrientation::Up);
}

/// The file was made with `lumivera image scramble`.
Picture scrambledFile(const Picture &) {
    return SpriteExtend::imageWithContentsOfFile_dencrypt(pathOf("flower.scrambled"), true);
}

/// Packs keep pictures in this form; the last byte says that the others are transformed.
Picture scrambledBytes(const Picture &) {
    std::ifstream file(pathOf("flower2.png"), std::ios::binary);
    const DataEncrypt::Bytes bytes{std::istreambuf_iterator(file), {}};
    const auto stored = DataEncrypt::encryptionDataWithData_encrypt(bytes, true);
    return SpriteExtend::imageWithData_dencrypt(std::span(stored).first(stored.size() - 1), true);
}

/// The picture of an application: its icon, with a light when it runs.
Picture pictureOf(const IconViewNode &node) {
    return node.isRunning()
               ? SpriteExtend::drawToImage(node.appicon(), Lumivera::picture("running.png").get())
               : Picture(node.appicon());
}

Picture icon(const Picture &flower) {
    const auto node = Lumivera::make<IconViewNode>();
    node->setAppicon(roundCorners(flower).get());
    node->setIsRunning(true);
    return pictureOf(*node);
}

} // namespace

const std::vector<Exhibit> &pictureExhibits() {
    static const std::vector<Exhibit> exhibits{
        {.caption = "tint", .picture = tint},
        {.caption = "overlay", .flower = "flower2", .picture = overlay},
        {.caption = "mask", .flower = "flower3", .picture = mask},
        {.caption = "clip", .picture = clip},
        {.caption = "grey", .flower = "flower3", .picture = grey},
        {.caption = "grey_clear", .flower = "flower3", .picture = greyWhereClear},
        {.caption = "combine", .flower = "flower2", .picture = combine},
        {.caption = "round", .flower = "flower3", .picture = roundCorners},
        {.caption = "pixels", .flower = "flower2", .picture = mirror},
        {.caption = "scrambled_file", .picture = scrambledFile},
        {.caption = "scrambled_bytes", .picture = scrambledBytes},
        {.caption = "icon", .picture = icon},
    };
    return exhibits;
}
