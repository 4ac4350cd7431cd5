#include "Tests/Platform/Compositor/ReferenceRenderer.h"

#include <algorithm>
#include <cmath>

/// x' = x·m[0] + y·m[2] + m[4], y' = x·m[1] + y·m[3] + m[5].
struct ReferenceRenderer::Map {
    double m[6];

    Map after(const Map &first) const {
        const double *f = first.m;
        return {{f[0] * m[0] + f[1] * m[2], f[0] * m[1] + f[1] * m[3], f[2] * m[0] + f[3] * m[2],
                 f[2] * m[1] + f[3] * m[3], f[4] * m[0] + f[5] * m[2] + m[4],
                 f[4] * m[1] + f[5] * m[3] + m[5]}};
    }

    static Map of(const CATransform3D &t) { return {{t.m11, t.m12, t.m21, t.m22, t.m41, t.m42}}; }
    static Map translation(double x, double y) { return {{1, 0, 0, 1, x, y}}; }
};

/// A rectangle under a map: gives the place of a pixel's centre in it, and the pixel's coverage.
struct ReferenceRenderer::Box {
    CGRect rect;
    Map map;

    // Fractions of the rectangle's sides.
    std::pair<double, double> place(double x, double y) const {
        const double *m = map.m;
        const double determinant = m[0] * m[3] - m[1] * m[2];
        const double dx = x - m[4];
        const double dy = y - m[5];
        return {((dx * m[3] - dy * m[2]) / determinant - rect.origin.x) / rect.size.width,
                ((dy * m[0] - dx * m[1]) / determinant - rect.origin.y) / rect.size.height};
    }

    // Distance between opposite edges in pixels.
    double acrossX() const {
        const double *m = map.m;
        return std::abs(m[0] * m[3] - m[1] * m[2]) * rect.size.width / std::hypot(m[2], m[3]);
    }
    double acrossY() const {
        const double *m = map.m;
        return std::abs(m[0] * m[3] - m[1] * m[2]) * rect.size.height / std::hypot(m[0], m[1]);
    }

    static double part(double fraction, double across) {
        return std::max(0.0, std::clamp(fraction * across + 0.5, 0.0, 1.0) +
                                 std::clamp((1 - fraction) * across + 0.5, 0.0, 1.0) - 1);
    }

    double coverage(double x, double y) const {
        const auto [u, v] = place(x, y);
        return part(u, acrossX()) * part(v, acrossY());
    }
};

namespace {

using Pixel = ReferenceRenderer::Pixel;

CGPoint anchorOf(const CALayer &layer) {
    const CGRect bounds = layer.bounds();
    return {bounds.origin.x + layer.anchorPoint().x * bounds.size.width,
            bounds.origin.y + layer.anchorPoint().y * bounds.size.height};
}

void blend(const Pixel &source, double part, Pixel &target) {
    const double rest = 1 - source[3] * part / 255;
    for (int i = 0; i < 4; ++i) {
        target[i] = source[i] * part + target[i] * rest;
    }
}

struct Texels {
    int width;
    int height;
    std::vector<Pixel> pixels;

    explicit Texels(const CGImage &image)
        : width(static_cast<int>(image.width())), height(static_cast<int>(image.height())) {
        for (int i = 0; i < width * height; ++i) {
            const std::uint32_t p = image.pixels()[i];
            pixels.push_back(
                {double(p & 255), double(p >> 8 & 255), double(p >> 16 & 255), double(p >> 24)});
        }
    }

    const Pixel &at(double x, double y) const {
        const int column = static_cast<int>(std::clamp(x, 0.0, width - 1.0));
        const int row = static_cast<int>(std::clamp(y, 0.0, height - 1.0));
        return pixels[row * width + column];
    }

    // Each texel of the smaller picture is the mean of the texels under it.
    void reduce(int newWidth, int newHeight) {
        std::vector<Pixel> result;
        for (int y = 0; y < newHeight; ++y) {
            for (int x = 0; x < newWidth; ++x) {
                result.push_back(
                    mean(double(x) * width / newWidth, double(x + 1) * width / newWidth,
                         double(y) * height / newHeight, double(y + 1) * height / newHeight));
            }
        }
        pixels = result;
        width = newWidth;
        height = newHeight;
    }

    Pixel mean(double left, double right, double top, double bottom) const {
        Pixel sum{};
        for (int y = int(top); y < std::min<double>(bottom, height); ++y) {
            for (int x = int(left); x < std::min<double>(right, width); ++x) {
                const double w =
                    std::max(0.0, std::min(right, x + 1.0) - std::max<double>(left, x));
                const double h =
                    std::max(0.0, std::min(bottom, y + 1.0) - std::max<double>(top, y));
                for (int i = 0; i < 4; ++i) {
                    sum[i] += pixels[y * width + x][i] * w * h;
                }
            }
        }
        for (double &value : sum) {
            value /= (right - left) * (bottom - top);
        }
        return sum;
    }

    Pixel sample(double u, double v) const {
        const double x = u * width - 0.5;
        const double y = v * height - 0.5;
        const double fx = x - std::floor(x);
        const double fy = y - std::floor(y);
        Pixel result;
        for (int i = 0; i < 4; ++i) {
            const double top = at(std::floor(x), std::floor(y))[i] * (1 - fx) +
                               at(std::floor(x) + 1, std::floor(y))[i] * fx;
            const double bottom = at(std::floor(x), std::floor(y) + 1)[i] * (1 - fx) +
                                  at(std::floor(x) + 1, std::floor(y) + 1)[i] * fx;
            result[i] = top * (1 - fy) + bottom * fy;
        }
        return result;
    }
};

/// Halves the side, rounding up, until at most two texels fall on a pixel.
int reducedSide(int side, double pixels) {
    int halvings = 0;
    while (side / pixels / (1 << halvings) > 2 && side >> halvings > 1) {
        ++halvings;
    }
    return static_cast<int>(std::ceil(static_cast<double>(side) / (1 << halvings)));
}

CGRect contentsRect(const CALayer &layer, double width, double height) {
    const CGRect bounds = layer.bounds();
    if (layer.contentsGravity() == ContentsGravity::Resize) {
        return bounds;
    }
    const double across = bounds.size.width / width;
    const double down = bounds.size.height / height;
    double scale = 1 / layer.contentsScale();
    if (layer.contentsGravity() != ContentsGravity::Center) {
        const bool fill = layer.contentsGravity() == ContentsGravity::ResizeAspectFill;
        scale = fill ? std::max(across, down) : std::min(across, down);
    }
    return CGRectMake(bounds.origin.x + (bounds.size.width - width * scale) / 2,
                      bounds.origin.y + (bounds.size.height - height * scale) / 2, width * scale,
                      height * scale);
}

} // namespace

ReferenceRenderer::ReferenceRenderer(int width, int height, double scale)
    : _width(width), _height(height), _scale(scale) {}

ReferenceRenderer::Pixels ReferenceRenderer::render(const CALayer &root, const Pixel &ground) {
    Pixels result(static_cast<std::size_t>(_width * _height), ground);
    const CGPoint origin = root.bounds().origin;
    drawLayer(root, Map{{_scale, 0, 0, _scale, -origin.x * _scale, -origin.y * _scale}}, result);
    return result;
}

void ReferenceRenderer::drawLayer(const CALayer &layer, const Map &map, Pixels &target) const {
    if (layer.isHidden()) {
        return;
    }
    Pixels group(target.size(), Pixel{});
    drawFill(layer, map, group);
    Pixels inside(target.size(), Pixel{});
    drawInside(layer, map, inside);
    if (layer.masksToBounds()) {
        const Box mask{layer.bounds(), map};
        for (int i = 0; i < _width * _height; ++i) {
            const double part = mask.coverage(i % _width + 0.5, i / _width + 0.5);
            for (double &value : inside[i]) {
                value *= part;
            }
        }
    }
    blendGroup(inside, 1, group);
    blendGroup(group, layer.opacity(), target);
}

void ReferenceRenderer::drawInside(const CALayer &layer, const Map &map, Pixels &target) const {
    drawContents(layer, map, target);
    const CGPoint centre = anchorOf(layer);
    for (const Retained<CALayer> &sublayer : layer.sublayers()) {
        const CGPoint anchor = anchorOf(*sublayer);
        const CGPoint position = sublayer->position();
        Map own = Map::translation(-anchor.x, -anchor.y);
        own = Map::of(sublayer->transform()).after(own);
        own = Map::translation(position.x - centre.x, position.y - centre.y).after(own);
        own = Map::of(layer.sublayerTransform()).after(own);
        own = Map::translation(centre.x, centre.y).after(own);
        drawLayer(*sublayer, map.after(own), target);
    }
}

template <class Colour>
void ReferenceRenderer::drawBox(const Box &box, Pixels &target, const Colour &at) const {
    for (int y = 0; y < _height; ++y) {
        for (int x = 0; x < _width; ++x) {
            const double part = box.coverage(x + 0.5, y + 0.5);
            if (part > 0) {
                const auto [u, v] = box.place(x + 0.5, y + 0.5);
                blend(at(u, v), part, target[y * _width + x]);
            }
        }
    }
}

void ReferenceRenderer::drawFill(const CALayer &layer, const Map &map, Pixels &target) const {
    const CGColor c = layer.backgroundColor();
    const Pixel pixel{c.blue * c.alpha * 255, c.green * c.alpha * 255, c.red * c.alpha * 255,
                      c.alpha * 255};
    drawBox({layer.bounds(), map}, target, [&](double, double) { return pixel; });
}

void ReferenceRenderer::drawContents(const CALayer &layer, const Map &map, Pixels &target) const {
    if (!layer.contents()) {
        return;
    }
    Texels texels(*layer.contents());
    const Box box{contentsRect(layer, texels.width, texels.height), map};
    texels.reduce(reducedSide(texels.width, box.acrossX()),
                  reducedSide(texels.height, box.acrossY()));
    drawBox(box, target, [&](double u, double v) { return texels.sample(u, v); });
}

void ReferenceRenderer::blendGroup(const Pixels &group, double opacity, Pixels &target) const {
    for (std::size_t i = 0; i < group.size(); ++i) {
        blend(group[i], opacity, target[i]);
    }
}
