#include "Platform/Compositor/SoftwareCompositor.h"

#include "Platform/Compositor/ChangeHistory.h"
#include "Platform/Compositor/HeldImages.h"
#include "Platform/Compositor/ListChanges.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <cmath>
#include <utility>

namespace {

// Device coordinates are ints, with room for sums.
int side(std::size_t pixels) { return static_cast<int>(std::min<std::size_t>(pixels, 1 << 24)); }

} // namespace

// This picture's display list and the one's before, and what is known of the targets.
class SoftwareCompositor::Frames {
  public:
    explicit Frames(const PixelKernels &kernels) : _painter(kernels) {}

    void draw(const CALayer &root, const PixelArea &target, unsigned age, double scale) {
        std::swap(_now, _before);
        _now.clear();
        if (scale > 0 && std::isfinite(scale)) {
            _now.build(root, target.area, scale, CACurrentMediaTime());
        }
        _painter.beginFrame(_now, target);
        const bool isKnown = age > 0 && target.area == _device;
        _device = target.area;
        CellMask &changed = _history.begin(_device);
        if (!isKnown) {
            _changes.skip(_now);
            _history.setAll();
        } else if (!_changes.find(_now, _painter, changed)) {
            _history.setAll();
        }
        _images.follow(_now.items());
        const CellMask *const missing = _history.since(age);
        if (!missing || !missing->isEmpty()) {
            _painter.paint(missing);
        }
        _painter.endFrame();
    }

    void setThreads(unsigned count) { _painter.setThreads(count); }
    bool isInProgress() const { return _now.isInProgress(); }
    const std::vector<DeviceRect> &changed() { return _history.latestRects(); }
    const std::vector<DeviceRect> &nothing() const { return _nothing; }

    void purge() {
        _painter.purge();
        _now.clear();
        _changes.skip(_now);
        _images.purge();
        _device = {};
    }

  private:
    DisplayListPainter _painter;
    DisplayList _now;
    DisplayList _before;
    ListChanges _changes;
    HeldImages _images;
    ChangeHistory _history;
    DeviceRect _device;
    std::vector<DeviceRect> _nothing;
};

SoftwareCompositor::SoftwareCompositor() : SoftwareCompositor(PixelKernels::best()) {}

SoftwareCompositor::SoftwareCompositor(const PixelKernels &kernels)
    : _frames(std::make_unique<Frames>(kernels)) {}

SoftwareCompositor::~SoftwareCompositor() = default;

void SoftwareCompositor::setThreads(unsigned count) {
    _frames->setThreads(std::clamp(count, 1U, 16U));
}

const std::vector<DeviceRect> &
SoftwareCompositor::composite(CALayer &root, const CompositorTarget &target, CGFloat scale) {
    const PixelArea area{target.pixels,
                         {0, 0, side(target.width), side(target.height)},
                         static_cast<std::ptrdiff_t>(target.stride)};
    const bool hasPixels = target.pixels && !area.area.isEmpty();
    if (hasPixels) {
        _frames->draw(root, area, target.age, scale);
    }
    root.didComposite();
    return hasPixels ? _frames->changed() : _frames->nothing();
}

bool SoftwareCompositor::isAnimationInProgress() const { return _frames->isInProgress(); }

void SoftwareCompositor::purge() { _frames->purge(); }
