#include "Platform/Compositor/SpriteTexels.h"

namespace {

// More texels than this would take megabytes, and are not what falls a hundred times.
constexpr long long kMostPrepared = 1 << 18;

constexpr int kBytesOfPair = 8;

// Of a part of the processor's cache that leaves room for what is drawn.
constexpr std::size_t kMostFetched = 1 << 18;
constexpr std::size_t kCacheLine = 64;

} // namespace

SpriteTexels::SpriteTexels(const Picture &picture)
    : _width(picture.width), _height(picture.height), _outline(SpriteOutline::around(picture)) {
    if (1LL * _width * _height <= kMostPrepared) {
        preparePairs(picture);
        _source.pairs = _pairs.data();
        _source.stride = _width + 1;
        _source.lastU = (_width - 1) << 16;
        _source.lastV = (_height - 1) << 16;
    } else {
        _source.pixels = picture.pixels;
        _source.stride = _width;
        _source.lastU = ((_width - 1) << 16) - 1;
        _source.lastV = ((_height - 1) << 16) - 1;
    }
}

void SpriteTexels::fetch() const {
    if (_pairs.size() <= kMostFetched) {
        for (std::size_t i = 0; i < _pairs.size(); i += kCacheLine) {
            __builtin_prefetch(&_pairs[i]);
        }
    }
}

void SpriteTexels::preparePairs(const Picture &picture) {
    _pairs.resize(std::size_t(_width + 1) * _height * kBytesOfPair);
    std::uint8_t *pair = _pairs.data();
    for (int y = 0; y < _height; y++) {
        for (int x = 0; x <= _width; x++) {
            const int column = std::min(x, _width - 1);
            const std::uint32_t top = *picture.at(column, y);
            const std::uint32_t bottom = *picture.at(column, std::min(y + 1, _height - 1));
            for (int channel = 0; channel < 4; channel++) {
                *pair++ = static_cast<std::uint8_t>(top >> 8 * channel);
                *pair++ = static_cast<std::uint8_t>(bottom >> 8 * channel);
            }
        }
    }
}
