#include "Animation/Common/ImageSet.h"

#include "Animation/Common/LWUICommonDefine.h"
#include "Animation/Common/NSData+DataEncrypt.h"
#include "Platform/CoreGraphics/CGContext.h"
#include "Platform/CoreGraphics/ImageOperations.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/UIKit/UIGraphics.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr std::uint64_t kMaxFileBytes = CGImage::kMaxBytes;
constexpr CGFloat kMaxRadius = 1e6;

struct Free {
    void operator()(std::uint8_t *memory) const { std::free(memory); }
};

/// Calls `paint` with an image context of the size of `image`, flipped so that bitmaps come out
/// upright, and returns the result. There is no context for an empty or huge picture.
template <class Paint> Retained<UIImage> paintedLike(const UIImage *image, Paint paint) {
    if (!image) {
        return nullptr;
    }
    const CGSize size = image->size();
    UIGraphicsBeginImageContext(size);
    if (CGContext *context = UIGraphicsGetCurrentContext()) {
        context->scaleCTM(1, -1);
        context->translateCTM(0, -size.height);
        paint(*context, CGRect{{0, 0}, size});
    }
    auto result = UIGraphicsGetImageFromCurrentImageContext();
    UIGraphicsEndImageContext();
    return result;
}

/// Fills the picture's shape with a colour and blends the picture over it.
Retained<UIImage> blendedWithColor(const UIImage *image, const UIColor *color, CGBlendMode mode) {
    return paintedLike(image, [&](CGContext &context, const CGRect &area) {
        const CGImage *bitmap = image->bitmap().get();
        context.saveGState();
        context.clipToMask(area, bitmap);
        if (color) {
            context.setFillColor(color->color());
        }
        context.fillRect(area);
        context.restoreGState();
        context.setBlendMode(mode);
        context.drawImage(area, bitmap);
    });
}

/// Calls `prepare` with a bitmap context of one pixel a point, then draws the picture into it. Null
/// without a picture and for an empty or huge one.
template <class Prepare>
Retained<CGImage> drawnInto(BitmapFormat format, const UIImage *image, Prepare prepare) {
    const CGSize size = image ? image->size() : CGSize();
    const NSUInteger width = wholeNumber(size.width);
    const NSUInteger height = wholeNumber(size.height);
    const auto context = CGContext::bitmapContextCreate(width, height, format);
    if (!context) {
        return nullptr;
    }
    prepare(*context, size);
    context->drawImage(CGRectMake(0, 0, static_cast<CGFloat>(width), static_cast<CGFloat>(height)),
                       image->bitmap().get());
    return context->createImage();
}

Retained<UIImage> imageFrom(Retained<CGImage> bitmap) {
    return UIImage::imageWithCGImage_scale_orientation(std::move(bitmap), 1,
                                                       UIImageOrientation::Up);
}

/// Adds a rectangle with rounded corners, drawn in units of the radius. The radius is clamped,
/// because beyond that limit it makes no difference inside a picture.
void addRoundedRect(CGContext &context, CGSize size, CGFloat wantedRadius) {
    const CGFloat radius = std::clamp(wantedRadius, -kMaxRadius, kMaxRadius);
    const CGFloat width = static_cast<float>(size.width / radius);
    const CGFloat height = static_cast<float>(size.height / radius);
    context.saveGState();
    context.scaleCTM(radius, radius);
    context.moveToPoint(width, height / 2);
    context.addArcToPoint(width, height, width / 2, height, 1);
    context.addArcToPoint(0, height, 0, height / 2, 1);
    context.addArcToPoint(0, 0, width / 2, 0, 1);
    context.addArcToPoint(width, 0, width, height / 2, 1);
    context.closePath();
    context.restoreGState();
}

} // namespace

Retained<UIImage> ImageSet::colorizeImage_withColor(Retained<UIImage> image, const UIColor *color) {
    return color ? blendedWithColor(image.get(), color, CGBlendMode::Multiply) : image;
}

Retained<UIImage> ImageSet::maskImage_withImage(const UIImage *image, const UIImage *mask) {
    return paintedLike(image, [&](CGContext &context, const CGRect &area) {
        const auto stencil = ImageMask::maskCreate(mask ? mask->bitmap().get() : nullptr);
        const auto masked = CGImageCreateWithMask(image->bitmap().get(), stencil.get());
        context.drawImage(area, masked.get());
    });
}

Retained<UIImage> SpriteExtend::imageWithContentsOfFile_dencrypt(const std::string &path,
                                                                 bool dencrypt) {
    const auto bytes = readFile(path, kMaxFileBytes);
    return bytes ? imageWithData_dencrypt(*bytes, dencrypt) : nullptr;
}

Retained<UIImage> SpriteExtend::imageWithData_dencrypt(std::span<const std::uint8_t> data,
                                                       bool dencrypt) {
    if (!data.data()) {
        return nullptr;
    }
    if (!dencrypt) {
        return UIImage::imageWithData(data);
    }
    std::vector<std::uint8_t> copy(data.begin(), data.end());
    DataEncrypt::transformPairs(copy);
    return UIImage::imageWithData(copy);
}

Retained<UIImage> SpriteExtend::clipImageWithRect(const UIImage *image, const CGRect &rect) {
    return image ? imageFrom(CGImageCreateWithImageInRect(image->bitmap().get(), rect)) : nullptr;
}

Retained<UIImage> SpriteExtend::createGrayImageWithAlpha(const UIImage *image, bool alpha) {
    auto grey = drawnInto(BitmapFormat::Grey, image, [](CGContext &, CGSize) {});
    if (alpha && grey) {
        grey = CGImageCreateWithMaskingColors(grey.get(), {0, 0}, {0, 0}, {0, 0});
    }
    return imageFrom(std::move(grey));
}

Retained<UIImage> SpriteExtend::imageColorOverlay(const UIImage *image, const UIColor *color) {
    return blendedWithColor(image, color, CGBlendMode::Overlay);
}

Retained<UIImage> SpriteExtend::drawToImage(const UIImage *image, const UIImage *other) {
    return paintedLike(image, [&](CGContext &context, const CGRect &area) {
        context.drawImage(area, image->bitmap().get());
        context.drawImage(area, other ? other->bitmap().get() : nullptr);
    });
}

Retained<UIImage> SpriteExtend::imageWithRoundCorners(const UIImage *image, CGFloat radius) {
    const auto clip = [radius](CGContext &context, CGSize size) {
        context.beginPath();
        if (radius == 0) {
            context.addRect({{0, 0}, size});
        } else {
            addRoundedRect(context, size, radius);
        }
        context.closePath();
        context.clip();
    };
    return imageFrom(drawnInto(BitmapFormat::AlphaFirstPremultiplied, image, clip));
}

std::uint8_t *SpriteExtend::getImageData(const UIImage *image) {
    if (!image) {
        return nullptr;
    }
    const CGImage &bitmap = *image->bitmap();
    const NSUInteger width = bitmap.width();
    const NSUInteger height = bitmap.height();
    std::unique_ptr<std::uint8_t, Free> pixels(
        static_cast<std::uint8_t *>(std::malloc(width * height * 4)));
    const auto context =
        pixels ? CGContext::bitmapContextCreate(width, height,
                                                BitmapFormat::AlphaFirstPremultiplied, pixels.get())
               : nullptr;
    if (context) {
        context->drawImage(
            CGRectMake(0, 0, static_cast<CGFloat>(width), static_cast<CGFloat>(height)), &bitmap);
        context->flush();
    }
    return pixels.release();
}
