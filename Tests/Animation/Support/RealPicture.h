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

    /// A new pixel of f(component, 0 to 3).
    template <class F> static RealPixel of(F f) {
        RealPixel pixel;
        for (int i = 0; i < 4; ++i) {
            pixel.components[i] = f(i);
        }
        return pixel;
    }
};

/// A picture to compute with as a formula is written, without any drawing library.
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

    /// The largest difference of a component, in steps of 8 bits; huge for another size.
    double differenceFrom(const UIImage *image) const;
};

/// Pixels of any colour and alpha, among them many that are clear or opaque.
Retained<UIImage> randomPicture(std::size_t width, std::size_t height, std::mt19937 &random);

CGColor randomColor(std::mt19937 &random);
