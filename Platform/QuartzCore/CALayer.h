#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"
#include "Platform/Foundation/TreeLock.h"
#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/QuartzCore/LayerValues.h"

#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

class LayerAnimations;

/// How a layer's contents fill its bounds.
enum class ContentsGravity {
    Resize,           ///< Stretched to the bounds.
    ResizeAspect,     ///< As large as fits, centred, in proportion.
    ResizeAspectFill, ///< As small as covers the bounds, centred, in proportion; may overhang.
    Center,           ///< At its own size, centred.
};

/// A node of the layer tree that is drawn: a rectangle with contents, a place in its superlayer,
/// and sublayers in front of it, the first one farthest back. Geometry is in points of the
/// superlayer. Belongs to the view tree: the main thread uses it freely, other threads between the
/// main thread's call-outs. Destroyed on the main thread.
class PLATFORM_EXPORT CALayer : public NSObject {
  public:
    CALayer();

    /// The anchor point's place in the superlayer.
    CGPoint position() const { return read(_position); }
    void setPosition(CGPoint position) { animate(&LayerValues::position, _position, position); }

    /// The layer's own coordinates; the size may not be negative or NaN (kept as 0 then).
    CGRect bounds() const { return read(_bounds); }
    void setBounds(const CGRect &bounds);

    /// In fractions of the bounds; the middle at first. The transform turns about it.
    CGPoint anchorPoint() const { return read(_anchorPoint); }
    void setAnchorPoint(CGPoint anchorPoint) { write(_anchorPoint, anchorPoint); }

    CATransform3D transform() const { return read(_transform); }
    void setTransform(const CATransform3D &transform) {
        animate(&LayerValues::transform, _transform, transform);
    }

    /// Applied to the sublayers about the layer's anchor point; its m34 gives perspective.
    CATransform3D sublayerTransform() const {
        const TreeAccess access;
        return sublayerTransformInPlace();
    }
    void setSublayerTransform(const CATransform3D &transform);

    /// 0 to 1, for the layer and everything in it as one group.
    float opacity() const { return read(_opacity); }
    void setOpacity(float opacity) { animate(&LayerValues::opacity, _opacity, opacity); }

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

    /// Contents pixels per point, for gravities that keep the contents' own size. Values not above
    /// 0 count as 1.
    CGFloat contentsScale() const { return read(_contentsScale); }
    void setContentsScale(CGFloat scale) { write(_contentsScale, scale > 0 ? scale : 1); }

    ContentsGravity contentsGravity() const { return read(_contentsGravity); }
    void setContentsGravity(ContentsGravity gravity) { write(_contentsGravity, gravity); }

    /// The bounding box of the transformed bounds, in the superlayer.
    CGRect frame() const;

    /// Changes position and bounds so that frame() becomes `frame`; the transform stays. Under a
    /// rotation by other than quarter turns the bounds become the box around the frame transformed
    /// back. A side equal to the present frame's leaves the bounds' side as it is, to the bit; so
    /// does a transform that scales an axis to 0.
    void setFrame(const CGRect &frame);

    /// The sublayers, back to front; valid until the list changes. Main thread.
    const std::vector<Retained<CALayer>> &sublayers() const { return _sublayers; }

    /// Moves the layer in front of the other sublayers. Null, the layer itself and a layer that
    /// contains it are ignored.
    void addSublayer(CALayer *layer);
    void removeFromSuperlayer();

    /// Not owned; null for a layer in no tree.
    CALayer *superlayer() const { return read(_superlayer); }

    /// Runs the animation from now, or from its begin time. It replaces the one under that key,
    /// whose delegate is then told that it did not finish. Animations change what is shown, not the
    /// layer's own values. Called on another thread, this and the removals happen soon on the main
    /// thread. Null is ignored.
    void addAnimation_forKey(CAAnimation *animation, std::string_view key);

    /// The object that was added; null when there is none.
    Retained<CAAnimation> animationForKey(std::string_view key) const;

    /// Before an animation is removed, its delegate is told that it did not finish.
    void removeAnimationForKey(std::string_view key);
    void removeAllAnimations();

    bool hasAnimations() const { return read(_hasAnimations); }

    /// Makes animations of the position and the transform that are added later in this call-out
    /// begin at what is shown now, not at what was shown before the call-out. No effect on a layer
    /// that had no animation in this call-out. Main thread.
    void keepShownPlace();

    /// The values that the layer shows at a time of the media clock. Sets `*isInProgress`, if
    /// given, to true when an animation is in progress.
    LayerValues presentationAt(NSTimeInterval time, bool *isInProgress = nullptr) const;

    /// True when the layer or any layer in it changed since the last didComposite().
    bool needsComposite() const { return read(_changed); }

    /// Called when the compositor has drawn the layer and all layers in it. Main thread.
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
    friend class LayerAnimations;

    template <class T> T read(const T &field) const {
        const TreeAccess access;
        return field;
    }

    /// Destroys the old value after the tree lock was released.
    template <class T> void write(T &field, T value) {
        const TreeAccess access;
        if (!(field == value)) {
            std::swap(field, value);
            setNeedsComposite();
        }
    }

    /// As write(), for properties that can be animated.
    template <class T> void animate(T LayerValues::*property, T &field, const T &value) {
        const TreeAccess access;
        if (!(field == value)) {
            noteChange(property, field);
            field = value;
            setNeedsComposite();
        }
    }

    /// Called before the value changes. A layer with animations remembers by itself what it showed.
    template <class T> void noteChange(T LayerValues::*property, const T &oldValue) {
        if (!_animations || !animationsNoteChange()) {
            LayerChanges::add(_latestChange) = PreviousValue<T>{property, oldValue};
        }
    }

    bool animationsNoteChange();
    void onMainThread(const std::function<void()> &action);

    /// Marks the layer and its superlayers. All superlayers of a marked layer are marked already,
    /// so the walk ends at the first marked one.
    void setNeedsComposite() {
        for (CALayer *layer = this; layer && !layer->_changed; layer = layer->_superlayer) {
            layer->_changed = true;
        }
    }

    CGRect boxAroundAnchor() const;
    bool isInside(const CALayer *other) const;

    // The fields that change in every frame come first, so that they share cache lines.
    CGPoint _position;
    CALayer *_superlayer = nullptr;
    bool _changed = true;
    bool _hidden = false;
    bool _masksToBounds = false;
    bool _hasAnimations = false;
    float _opacity = 1;
    std::uint64_t _latestChange = 0;
    std::unique_ptr<LayerAnimations> _animations;
    CATransform3D _transform = CATransform3DIdentity;
    CGRect _bounds;
    CGPoint _anchorPoint{0.5, 0.5};
    Retained<CGImage> _contents;
    CGFloat _contentsScale = 1;
    ContentsGravity _contentsGravity = ContentsGravity::Resize;
    CGColor _backgroundColor{0, 0, 0, 0};
    // Null for the identity, which nearly every layer has.
    std::unique_ptr<CATransform3D> _sublayerTransform;
    std::vector<Retained<CALayer>> _sublayers;
};
