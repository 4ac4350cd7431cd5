#include "Platform/QuartzCore/CALayer.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/QuartzCore/LayerAnimations.h"

#include <algorithm>
#include <cmath>

namespace {

/// Size of the bounding box of a width × height rectangle under the 2 × 2 part of a transform.
/// Skips elements of 0, because 0 times an infinite side would be NaN.
CGSize boundingSize(const CATransform3D &t, CGSize size) {
    CGSize box{std::fabs(t.m11) * size.width, std::fabs(t.m22) * size.height};
    if (t.m12 != 0 || t.m21 != 0) {
        box.width += std::fabs(t.m21) * size.height;
        box.height += std::fabs(t.m12) * size.width;
    }
    return box;
}

/// Applies the transform to a point of the layer's plane: (x, y) maps to
/// ((x·m11 + y·m21 + m41) / w, …) with w = x·m14 + y·m24 + m44.
CGPoint project(const CATransform3D &t, CGFloat x, CGFloat y) {
    const CGFloat w = x * t.m14 + y * t.m24 + t.m44;
    const CGFloat px = x * t.m11 + y * t.m21 + t.m41;
    const CGFloat py = x * t.m12 + y * t.m22 + t.m42;
    return w == 0 ? CGPoint{px, py} : CGPoint{px / w, py / w};
}

bool isAffine(const CATransform3D &t) { return t.m14 == 0 && t.m24 == 0 && t.m44 == 1; }

/// The bounding box of four points.
CGRect boxAround(const CGPoint (&corners)[4]) {
    const auto [left, right] =
        std::minmax({corners[0].x, corners[1].x, corners[2].x, corners[3].x});
    const auto [top, bottom] =
        std::minmax({corners[0].y, corners[1].y, corners[2].y, corners[3].y});
    return {{left, top}, {right - left, bottom - top}};
}

/// A side of the bounds, given that side of the frame, under a scale without rotation.
CGFloat unscaled(CGFloat side, CGFloat presentSide, CGFloat factor, CGFloat present) {
    return side == presentSide || factor == 0 ? present : side / std::fabs(factor);
}

/// The size of the box around `frame` transformed back. Sides that the transform scales to 0, or
/// whose result is not finite, keep their present length.
CGSize sizeBeforeTransform(const CATransform3D &t, CGSize frame, CGSize presentFrame,
                           CGSize present) {
    if (frame == presentFrame) {
        return present;
    }
    CGSize size = present;
    const CGFloat determinant = t.m11 * t.m22 - t.m12 * t.m21;
    if (t.m12 == 0 && t.m21 == 0) {
        size = {unscaled(frame.width, presentFrame.width, t.m11, present.width),
                unscaled(frame.height, presentFrame.height, t.m22, present.height)};
    } else if (determinant != 0) {
        size = {std::fabs(t.m22 / determinant) * frame.width +
                    std::fabs(t.m21 / determinant) * frame.height,
                std::fabs(t.m12 / determinant) * frame.width +
                    std::fabs(t.m11 / determinant) * frame.height};
    }
    return {std::isfinite(size.width) ? size.width : present.width,
            std::isfinite(size.height) ? size.height : present.height};
}

} // namespace

CALayer::CALayer() = default;

CALayer::~CALayer() {
    for (const Retained<CALayer> &sublayer : _sublayers) {
        sublayer->_superlayer = nullptr;
    }
}

void CALayer::setBounds(const CGRect &bounds) {
    CGRect valid = bounds;
    valid.size.width = bounds.size.width > 0 ? bounds.size.width : 0;
    valid.size.height = bounds.size.height > 0 ? bounds.size.height : 0;
    animate(&LayerValues::bounds, _bounds, valid);
}

void CALayer::setSublayerTransform(const CATransform3D &transform) {
    const TreeAccess access;
    if (sublayerTransformInPlace() == transform) {
        return;
    }
    noteChange(&LayerValues::sublayerTransform, sublayerTransformInPlace());
    _sublayerTransform =
        transform == CATransform3DIdentity ? nullptr : std::make_unique<CATransform3D>(transform);
    setNeedsComposite();
}

CGRect CALayer::frame() const {
    const TreeAccess access;
    CGRect box = boxAroundAnchor();
    box.origin.x += _position.x;
    box.origin.y += _position.y;
    return box;
}

void CALayer::setFrame(const CGRect &frame) {
    const TreeAccess access;
    setBounds({_bounds.origin,
               sizeBeforeTransform(_transform, frame.size, boxAroundAnchor().size, _bounds.size)});
    const CGPoint corner = boxAroundAnchor().origin;
    setPosition({frame.origin.x - corner.x, frame.origin.y - corner.y});
}

/// The bounding box of the transformed bounds, relative to the anchor point.
CGRect CALayer::boxAroundAnchor() const {
    const CGSize size = _bounds.size;
    const CATransform3D &t = _transform;
    if (isAffine(t)) {
        const CGSize box = boundingSize(t, size);
        const CGFloat x = (0.5 - _anchorPoint.x) * size.width;
        const CGFloat y = (0.5 - _anchorPoint.y) * size.height;
        return {{x * t.m11 + y * t.m21 + t.m41 - box.width / 2,
                 x * t.m12 + y * t.m22 + t.m42 - box.height / 2},
                box};
    }
    const CGFloat left = -_anchorPoint.x * size.width;
    const CGFloat top = -_anchorPoint.y * size.height;
    const CGFloat right = left + size.width;
    const CGFloat bottom = top + size.height;
    return boxAround({project(t, left, top), project(t, right, top), project(t, right, bottom),
                      project(t, left, bottom)});
}

void CALayer::addSublayer(CALayer *layer) {
    const TreeAccess access;
    if (!layer || isInside(layer)) {
        return;
    }
    Retained<CALayer> kept(layer);
    layer->removeFromSuperlayer();
    layer->_superlayer = this;
    _sublayers.push_back(std::move(kept));
    setNeedsComposite();
}

bool CALayer::isInside(const CALayer *other) const {
    const CALayer *layer = this;
    while (layer && layer != other) {
        layer = layer->_superlayer;
    }
    return layer != nullptr;
}

/// Searches from the end, where layers are added and from where whole trees are taken apart.
void CALayer::removeFromSuperlayer() {
    Retained<CALayer> alive;
    const TreeAccess access;
    CALayer *superlayer = std::exchange(_superlayer, nullptr);
    if (!superlayer) {
        return;
    }
    superlayer->setNeedsComposite();
    auto &siblings = superlayer->_sublayers;
    const auto entry = std::find(siblings.rbegin(), siblings.rend(), this);
    alive = std::move(*entry);
    siblings.erase(std::next(entry).base());
}

void CALayer::addAnimation_forKey(CAAnimation *animation, std::string_view key) {
    if (!animation) {
        return;
    }
    onMainThread([this, kept = Retained<CAAnimation>(animation), key = std::string(key)] {
        if (!_animations) {
            _animations = std::make_unique<LayerAnimations>(*this);
        }
        _animations->add(*kept, key);
    });
}

Retained<CAAnimation> CALayer::animationForKey(std::string_view key) const {
    const TreeAccess access;
    return _animations ? _animations->animationForKey(key) : nullptr;
}

void CALayer::removeAnimationForKey(std::string_view key) {
    onMainThread([this, key = std::string(key)] {
        if (_animations) {
            _animations->remove(key);
        }
    });
}

void CALayer::removeAllAnimations() {
    onMainThread([this] {
        if (_animations) {
            _animations->removeAll();
        }
    });
}

/// Keeps the layer alive meanwhile, because delegates may release it.
void CALayer::onMainThread(const std::function<void()> &action) {
    if (NSThread::isMainThread()) {
        const Retained<CALayer> alive(this);
        action();
    } else {
        NSRunLoop::mainRunLoop().performSelectorOnMainThread(this, action, false);
    }
}

void CALayer::keepShownPlace() {
    if (_animations) {
        _animations->keepShownPlace();
    }
}

LayerValues CALayer::presentationAt(NSTimeInterval time, bool *isInProgress) const {
    const TreeAccess access;
    LayerValues shown{_position, _bounds, _opacity, _transform, sublayerTransformInPlace()};
    if (_hasAnimations && _animations->apply(time, shown) && isInProgress) {
        *isInProgress = true;
    }
    return shown;
}

/// Deletes the animations and returns false when they have nothing more to do.
bool CALayer::animationsNoteChange() {
    if (_animations->isForgettable()) {
        _animations = nullptr;
        return false;
    }
    _animations->changeBegins();
    return true;
}

void CALayer::didComposite() {
    if (!_changed) {
        return;
    }
    _changed = false;
    for (const Retained<CALayer> &sublayer : _sublayers) {
        sublayer->didComposite();
    }
}
