#include "Platform/Compositor/SoftwareCompositor.h"

#include "Platform/Compositor/Damage.h"
#include "Platform/Compositor/DisplayListPainter.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <cmath>
#include <utility>

namespace {

constexpr std::uint32_t kBlack = 0xFF000000;
constexpr std::uint32_t kNothing = 0;

/// Limits sides so that sums of device coordinates fit into an int.
int side(std::size_t pixels) { return static_cast<int>(std::min<std::size_t>(pixels, 1 << 24)); }

} // namespace

/// This picture's display list and the one before, and the damage of the last few pictures.
class SoftwareCompositor::Frames {
  public:
    explicit Frames(const PixelKernels &kernels) : _painter(kernels, _planner) {}

    // Draws over pixels of the value `ground`.
    void draw(const CALayer &root, const PixelArea &target, std::uint32_t ground, unsigned age,
              double scale) {
        std::swap(_now, _before);
        _now.clear();
        if (scale > 0 && std::isfinite(scale)) {
            _now.build(root, target.area, scale, CACurrentMediaTime());
        }
        const bool isKnown = age > 0 && target.area == _planner.device() && ground == _ground;
        _ground = ground;
        _planner.beginFrame(_now, target.area);
        findDamage(isKnown);
        _before.clear();
        const CellMask *const missing = _history.since(age);
        const bool isPainted = !missing || !missing->isEmpty();
        if (isPainted) {
            _painter.paint(_now, target, missing, ground);
        }
        _planner.endFrame(isPainted);
    }

    bool isInProgress() const { return _now.isInProgress(); }
    const std::vector<DeviceRect> &changed() { return _history.latestRects(); }
    const std::vector<DeviceRect> &nothing() const { return _nothing; }

    void purge() {
        _planner.purge();
        _painter.purge();
        _now.clear();
        _finder.skip(_now);
    }

  private:
    void findDamage(bool isKnown) {
        CellMask &damage = _history.begin(_planner.device());
        if (!isKnown) {
            _finder.skip(_now);
            _history.setAll();
        } else if (!_finder.find(_now, _planner, damage)) {
            _history.setAll();
        }
    }

    ItemPlanner _planner;
    DisplayListPainter _painter;
    DisplayList _now;
    DisplayList _before;
    DamageFinder _finder;
    DamageHistory _history;
    std::uint32_t _ground = kBlack;
    std::vector<DeviceRect> _nothing;
};

SoftwareCompositor::SoftwareCompositor() : SoftwareCompositor(PixelKernels::best()) {}

SoftwareCompositor::SoftwareCompositor(const PixelKernels &kernels)
    : _frames(std::make_unique<Frames>(kernels)) {}

SoftwareCompositor::~SoftwareCompositor() = default;

const std::vector<DeviceRect> &
SoftwareCompositor::composite(CALayer &root, const CompositorTarget &target, CGFloat scale) {
    const PixelArea area{target.pixels,
                         {0, 0, side(target.width), side(target.height)},
                         static_cast<std::ptrdiff_t>(target.stride)};
    const bool hasPixels = target.pixels && !area.area.isEmpty();
    if (hasPixels) {
        _frames->draw(root, area, target.isTransparent ? kNothing : kBlack, target.age, scale);
    }
    root.didComposite();
    return hasPixels ? _frames->changed() : _frames->nothing();
}

bool SoftwareCompositor::isAnimationInProgress() const { return _frames->isInProgress(); }

void SoftwareCompositor::purge() { _frames->purge(); }
