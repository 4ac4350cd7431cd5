#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/UIKit/UIImage.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

/// A premultiplied pixel in double precision: red, green, blue, alpha from 0 to 1.
struct RealPixel {
    double components[4] = {};

    double alpha() const { return components[3]; }

    /// A pixel whose component i (0 to 3) is f(i).
    template <class F> static RealPixel of(F f) {
        RealPixel pixel;
        for (int i = 0; i < 4; ++i) {
            pixel.components[i] = f(i);
        }
        return pixel;
    }
};

/// A picture of real numbers, to evaluate formulas without any drawing library.
struct RealPicture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<RealPixel> pixels;

    static RealPicture from(const UIImage &image);

    /// A picture of f(pixel) for each pixel.
    template <class F> RealPicture mapped(F f) const {
        RealPicture result{width, height, {}};
        for (const RealPixel &pixel : pixels) {
            result.pixels.push_back(f(pixel));
        }
        return result;
    }

    /// The largest difference of a component, in levels of 255; huge when the sizes differ.
    double differenceFrom(const UIImage *image) const;
};

/// A picture of random colours and alphas, with many transparent and opaque pixels.
Retained<UIImage> randomPicture(std::size_t width, std::size_t height, std::mt19937 &random);

CGColor randomColor(std::mt19937 &random);
