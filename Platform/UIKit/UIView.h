#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"
#include "Platform/QuartzCore/CALayer.h"
#include "Platform/UIKit/UIColor.h"

#include <vector>

/// Which sides and margins of a view change with its superview's size; values are combined with |.
enum UIViewAutoresizing : NSUInteger {
    UIViewAutoresizingNone = 0,
    UIViewAutoresizingFlexibleLeftMargin = 1,
    UIViewAutoresizingFlexibleWidth = 2,
    UIViewAutoresizingFlexibleRightMargin = 4,
    UIViewAutoresizingFlexibleTopMargin = 8,
    UIViewAutoresizingFlexibleHeight = 16,
    UIViewAutoresizingFlexibleBottomMargin = 32,
};

/// How a view's contents fill it.
enum UIViewContentMode : NSInteger {
    UIViewContentModeScaleToFill = 0,
    UIViewContentModeScaleAspectFit = 1,
    UIViewContentModeScaleAspectFill = 2,
    UIViewContentModeCenter = 4,
};

/// A rectangle on the screen, with subviews in front of it. Geometry is in points of the superview.
/// Belongs to the view tree: the main thread uses it freely, other threads between the main
/// thread's call-outs. Always destroyed on the main thread.
class PLATFORM_EXPORT UIView : public NSObject, public CAAnimationDelegate {
  public:
    static Retained<UIView> initWithFrame(const CGRect &frame);

    /// Never null; owned by the view.
    CALayer *layer() const noexcept { return _layer.get(); }

    CGPoint center() const { return _layer->position(); }
    void setCenter(CGPoint center) { _layer->setPosition(center); }

    CGRect bounds() const { return _layer->bounds(); }

    /// A new size makes the subviews follow by their autoresizing masks.
    void setBounds(const CGRect &bounds);

    /// The bounding box of the transformed bounds.
    CGRect frame() const { return _layer->frame(); }
    virtual void setFrame(const CGRect &frame);

    bool clipsToBounds() const { return _layer->masksToBounds(); }
    void setClipsToBounds(bool clips) { _layer->setMasksToBounds(clips); }

    bool isHidden() const { return _layer->isHidden(); }
    void setHidden(bool hidden) { _layer->setHidden(hidden); }

    /// Null or clear: nothing is painted.
    void setBackgroundColor(const UIColor *color);

    bool isUserInteractionEnabled() const { return _userInteractionEnabled.get(); }
    void setUserInteractionEnabled(bool enabled) { _userInteractionEnabled.set(enabled); }

    NSUInteger autoresizingMask() const { return _autoresizingMask.get(); }
    void setAutoresizingMask(NSUInteger mask) { _autoresizingMask.set(mask); }

    UIViewContentMode contentMode() const { return _contentMode.get(); }
    virtual void setContentMode(UIViewContentMode mode);

    /// Not owned; null for a view without a superview.
    UIView *superview() const { return _superview.get(); }

    /// The subviews, back to front.
    NSUInteger subviewCount() const {
        const TreeAccess access;
        return _subviews.size();
    }

    /// Not owned; null beyond the end.
    UIView *subviewAtIndex(NSUInteger index) const {
        const TreeAccess access;
        return index < _subviews.size() ? _subviews[index].get() : nullptr;
    }

    /// Moves the view in front of the other subviews. Null, the view itself and a view that
    /// contains it are ignored.
    void addSubview(UIView *view);
    virtual void removeFromSuperview();

    /// Called when an animation stops whose delegate is this view; calls the handler below.
    void animationDidStop_finished(CAAnimation *animation, bool finished) override;

    /// Sets the function that is called when an animation stops whose delegate is a view; none at
    /// first. Main thread.
    using AnimationStopHandler = void (*)(UIView *view, CAAnimation *animation, bool finished);
    static void setAnimationStopHandler(AnimationStopHandler handler);

  protected:
    explicit UIView(const CGRect &frame);
    ~UIView() override;
    void destroy() noexcept override { destroyOnMainThread(); }

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    void detachFromSuperview();
    bool isInside(const UIView *other) const;
    void resizeSubviews(CGSize oldSize, CGSize newSize);
    void followSuperview(CGFloat widthDifference, CGFloat heightDifference);

    const Retained<CALayer> _layer;
    TreeValue<UIView *> _superview;
    std::vector<Retained<UIView>> _subviews;
    TreeValue<NSUInteger> _autoresizingMask;
    TreeValue<UIViewContentMode> _contentMode{UIViewContentModeScaleToFill};
    TreeValue<bool> _userInteractionEnabled{true};
};
