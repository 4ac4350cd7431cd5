#include "Platform/Compositor/SoftwareCompositor.h"

#include "Platform/Compositor/DisplayList.h"
#include "Platform/Compositor/DisplayListPainter.h"

#include <cmath>

namespace {

constexpr std::uint32_t kBlack = 0xFF000000;

// Device coordinates are ints, with room for sums.
int side(std::size_t pixels) { return static_cast<int>(std::min<std::size_t>(pixels, 1 << 24)); }

} // namespace

SoftwareCompositor::SoftwareCompositor() : SoftwareCompositor(PixelKernels::best()) {}

SoftwareCompositor::SoftwareCompositor(const PixelKernels &kernels)
    : _list(std::make_unique<DisplayList>()),
      _painter(std::make_unique<DisplayListPainter>(kernels)) {}

SoftwareCompositor::~SoftwareCompositor() = default;

void SoftwareCompositor::composite(CALayer &root, const CompositorTarget &target, CGFloat scale) {
    const PixelArea area{target.pixels,
                         {0, 0, side(target.width), side(target.height)},
                         static_cast<std::ptrdiff_t>(target.stride)};
    if (target.pixels && !area.area.isEmpty()) {
        for (int y = 0; y < area.area.bottom; y++) {
            std::fill_n(area.at(0, y), area.area.width(), kBlack);
        }
        if (scale > 0 && std::isfinite(scale)) {
            _list->build(root, area.area, scale);
            _painter->paint(*_list, area);
        }
    }
    root.didComposite();
}

void SoftwareCompositor::purge() { _painter->purge(); }
