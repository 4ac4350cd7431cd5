#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"
#include "Platform/Foundation/TreeLock.h"
#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/QuartzCore/CALayerChanges.h"

#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

class CALayerAnimations;

/// How a layer's contents fill its bounds.
enum class CALayerGravity {
    Resize,           ///< Stretched to the bounds.
    ResizeAspect,     ///< As large as fits, centred, in proportion.
    ResizeAspectFill, ///< As small as covers the bounds, centred, in proportion; may overhang.
    Center,           ///< At its own size, centred.
};

/// A node of the picture that is on the screen: a rectangle with contents, a place in its
/// superlayer and sublayers in front of it, the first one farthest back. Geometry is in points of
/// the superlayer. Belongs to the view tree: the main thread uses it freely, other threads between
/// the main thread's call-outs. Destroyed on the main thread.
class PLATFORM_EXPORT CALayer : public NSObject {
  public:
    CALayer();

    /// Where the anchor point lies in the superlayer.
    CGPoint position() const { return read(_position); }
    void setPosition(CGPoint position) { animate(&CALayerValues::position, _position, position); }

    /// The layer's own coordinates; the size may not be negative or NaN (kept as 0 then).
    CGRect bounds() const { return read(_bounds); }
    void setBounds(const CGRect &bounds);

    /// In fractions of the bounds; the middle at first. The transform turns about it.
    CGPoint anchorPoint() const { return read(_anchorPoint); }
    void setAnchorPoint(CGPoint anchorPoint) { write(_anchorPoint, anchorPoint); }

    CATransform3D transform() const { return read(_transform); }
    void setTransform(const CATransform3D &transform) {
        animate(&CALayerValues::transform, _transform, transform);
    }

    /// Applied to the sublayers about the layer's anchor point; perspective lives in its m34.
    CATransform3D sublayerTransform() const {
        const TreeAccess access;
        return sublayerTransformInPlace();
    }
    void setSublayerTransform(const CATransform3D &transform);

    /// 0 to 1, for the layer and everything in it as one group.
    float opacity() const { return read(_opacity); }
    void setOpacity(float opacity) { animate(&CALayerValues::opacity, _opacity, opacity); }

    bool isHidden() const { return read(_hidden); }
    void setHidden(bool hidden) { write(_hidden, hidden); }

    /// True: sublayers and contents show only inside the bounds.
    bool masksToBounds() const { return read(_masksToBounds); }
    void setMasksToBounds(bool masks) { write(_masksToBounds, masks); }

    CGColor backgroundColor() const { return read(_backgroundColor); }
    void setBackgroundColor(const CGColor &color) { write(_backgroundColor, color); }

    /// May be null.
    Retained<CGImage> contents() const { return read(_contents); }
    void setContents(Retained<CGImage> contents) { write(_contents, std::move(contents)); }

    /// Pixels of the contents a point, for gravities that keep the contents' own size; above 0
    /// (anything else is kept as 1).
    CGFloat contentsScale() const { return read(_contentsScale); }
    void setContentsScale(CGFloat scale) { write(_contentsScale, scale > 0 ? scale : 1); }

    CALayerGravity contentsGravity() const { return read(_contentsGravity); }
    void setContentsGravity(CALayerGravity gravity) { write(_contentsGravity, gravity); }

    /// The bounding box of the transformed bounds, in the superlayer.
    CGRect frame() const;

    /// Moves and resizes so that frame() becomes `frame`, with the transform kept; under a rotation
    /// by other than quarter turns, so that the bounds hold the frame taken back through it. A
    /// length equal to the frame's present one leaves the bounds' length as it is, to the bit; so
    /// does a transform that squeezes an axis to nothing.
    void setFrame(const CGRect &frame);

    /// Main thread: the sublayers back to front; valid until the list changes.
    const std::vector<Retained<CALayer>> &sublayers() const { return _sublayers; }

    /// Puts the layer in front of the other sublayers, taking it from where it was. Null, the layer
    /// itself and a layer that holds this one are ignored.
    void addSublayer(CALayer *layer);
    void removeFromSuperlayer();

    /// Not owned; null for a layer in no tree.
    CALayer *superlayer() const { return read(_superlayer); }

    /// Runs the animation from now, or from its begin time, in place of the one under that key,
    /// whose delegate is then told that it did not finish. What animations show lies over the
    /// layer's own values, which stay as they are. On another thread than the main thread the main
    /// thread does it soon; so with the removals. Null is ignored.
    void addAnimation_forKey(CAAnimation *animation, std::string_view key);

    /// The very object that was added; null when there is none.
    Retained<CAAnimation> animationForKey(std::string_view key) const;

    /// The delegates are told, while the animations are still there, that they did not finish.
    void removeAnimationForKey(std::string_view key);
    void removeAllAnimations();

    bool hasAnimations() const { return read(_hasAnimations); }

    /// Animations of the position and the transform that are added later in this call-out begin at
    /// what is shown now, not at what was shown before the call-out. Nothing is kept for a layer
    /// that had no animation in this call-out. Main thread.
    void keepShownPlace();

    /// The values that the layer shows at a time of the media clock. Sets the flag, where there is
    /// one, when an animation is in progress.
    CALayerValues presentationAt(NSTimeInterval time, bool *isInProgress = nullptr) const;

    /// True when the layer or anything below it changed since the last call of didComposite().
    bool needsComposite() const { return read(_changed); }

    /// The compositor has drawn the layer with everything below it. Main thread.
    void didComposite();

    // In-place access for the compositor, which draws on the main thread.
    const CGPoint &positionInPlace() const { return _position; }
    const CGRect &boundsInPlace() const { return _bounds; }
    float opacityInPlace() const { return _opacity; }
    const CATransform3D &transformInPlace() const { return _transform; }
    const CATransform3D &sublayerTransformInPlace() const {
        return _sublayerTransform ? *_sublayerTransform : CATransform3DIdentity;
    }
    CGImage *contentsInPlace() const { return _contents.get(); }
    bool hasAnimationsInPlace() const { return _hasAnimations; }

  protected:
    ~CALayer() override;
    void destroy() noexcept override { destroyOnMainThread(); }

  private:
    friend class CALayerAnimations;

    template <class T> T read(const T &field) const {
        const TreeAccess access;
        return field;
    }

    /// What the field held dies without the tree.
    template <class T> void write(T &field, T value) {
        const TreeAccess access;
        if (!(field == value)) {
            std::swap(field, value);
            setNeedsComposite();
        }
    }

    /// As write(), for what can be animated.
    template <class T> void animate(T CALayerValues::*property, T &field, const T &value) {
        const TreeAccess access;
        if (!(field == value)) {
            noteChange(property, field);
            field = value;
            setNeedsComposite();
        }
    }

    /// Before the value changes. A layer that had animations notes for itself what it showed.
    template <class T> void noteChange(T CALayerValues::*property, const T &oldValue) {
        if (!_animations || !animationsNoteChange()) {
            CALayerChanges::add(_latestChange) = CAOldValue<T>{property, oldValue};
        }
    }

    bool animationsNoteChange();
    void onMainThread(const std::function<void()> &action);

    /// A layer is marked only together with everything above it, so a mark ends the walk up.
    void setNeedsComposite() {
        for (CALayer *layer = this; layer && !layer->_changed; layer = layer->_superlayer) {
            layer->_changed = true;
        }
    }

    CGRect boxAroundAnchor() const;
    bool isInside(const CALayer *other) const;

    // What moves in every frame stands together.
    CGPoint _position;
    CALayer *_superlayer = nullptr;
    bool _changed = true;
    bool _hidden = false;
    bool _masksToBounds = false;
    bool _hasAnimations = false;
    float _opacity = 1;
    std::uint64_t _latestChange = 0;
    std::unique_ptr<CALayerAnimations> _animations;
    CATransform3D _transform = CATransform3DIdentity;
    CGRect _bounds;
    CGPoint _anchorPoint{0.5, 0.5};
    Retained<CGImage> _contents;
    CGFloat _contentsScale = 1;
    CALayerGravity _contentsGravity = CALayerGravity::Resize;
    CGColor _backgroundColor{0, 0, 0, 0};
    // Null for the identity, which is what nearly every layer has.
    std::unique_ptr<CATransform3D> _sublayerTransform;
    std::vector<Retained<CALayer>> _sublayers;
};
