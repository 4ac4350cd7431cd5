#include "Platform/UIKit/UIGraphics.h"

#include <cmath>

namespace {

thread_local std::vector<Retained<CGContext>> contexts;

NSUInteger pixelsFor(CGFloat points) {
    const CGFloat limit = static_cast<CGFloat>(CGImage::kMaxSide) + 1;
    return points > 0 ? static_cast<NSUInteger>(std::ceil(std::fmin(points, limit))) : 0;
}

} // namespace

void UIGraphicsBeginImageContext(CGSize size) {
    auto context = CGContext::bitmapContextCreate(pixelsFor(size.width), pixelsFor(size.height),
                                                  BitmapFormat::AlphaFirstPremultiplied);
    if (context) {
        context->translateCTM(0, std::ceil(size.height));
        context->scaleCTM(1, -1);
    }
    contexts.push_back(std::move(context));
}

CGContext *UIGraphicsGetCurrentContext() {
    return contexts.empty() ? nullptr : contexts.back().get();
}

Retained<UIImage> UIGraphicsGetImageFromCurrentImageContext() {
    const CGContext *context = UIGraphicsGetCurrentContext();
    return context ? UIImage::imageWithCGImage_scale_orientation(context->createImage(), 1,
                                                                 UIImageOrientation::Up)
                   : nullptr;
}

void UIGraphicsEndImageContext() {
    if (!contexts.empty()) {
        contexts.pop_back();
    }
}
