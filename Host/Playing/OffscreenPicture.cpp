#include "Host/Playing/OffscreenPicture.h"

namespace Lumivera {

/// Memory is taken for the first picture; each later one is drawn over the one before.
const std::vector<std::uint32_t> &OffscreenPicture::composite(CALayer &root) {
    const unsigned age = _pixels.empty() ? 0 : 1;
    _pixels.resize(width() * height());
    _compositor.composite(root, {_pixels.data(), width(), height(), width(), age}, _size.density);
    return _pixels;
}

} // namespace Lumivera
