#pragma once

#include "Animation/DeskTopView/DeskTopViewInterface.h"
#include "Animation/DeskTopView/UpdateOperation.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSOperationQueue.h"
#include "Platform/UIKit/UIImageView.h"
#include "Platform/UIKit/UIScrollView.h"

#include <atomic>

/// The type of a host's delegate. The frame keeps the reference and calls nothing on it; a host
/// that wants call-backs derives from it.
class WALLPAPER_EXPORT DeskTopViewDelegate {
  protected:
    virtual ~DeskTopViewDelegate() = default;
};

/// Base class of every wallpaper, and all that a host knows of one: a view with a full-size
/// background picture, whose resources load on a thread of their own 0.5 s after its creation and
/// whose animation clock calls doAnimating on the main thread every 25 ms at most.
///
/// A wallpaper derives from it, overrides initResource (which ends with startAnimating),
/// doAnimating and the touch hooks, and is made by its library's getDeskTopViewInstance.
class WALLPAPER_EXPORT DeskTopView : public UIScrollView,
                                     public DeskTopViewInterface,
                                     public UpdateOperationDelegate {
  public:
    /// Loads the library that the bundle's description names under "name Library" from the
    /// bundle's resource folder and asks it for a view. Null for a null bundle, without such a
    /// name, for a library that cannot be opened, and when the loader finds no
    /// getDeskTopViewInstance in it or behind it. Autoreleased. Main thread.
    static DeskTopView *createDeskTopViewFromBundle(NSBundle *bundle);

    /// Texts that live as long as the library.
    static const char *name() { return ""; }
    static const char *version() { return ""; }

    /// Main thread, whose run loop must run for the resources to load.
    static Retained<DeskTopView> initWithFrame(const CGRect &frame);

    void setFrame(const CGRect &frame) override;

    /// Starts the resource thread.
    virtual void delayLoading();

    /// Loads the wallpaper's resources. Called once, on a thread of its own. Empty here.
    virtual void initResource();

    /// The display scale; the frame's origin stays where it was.
    CGFloat scale() const { return _scale.get(); }
    virtual void setScale(CGFloat scale);

    /// Shows the picture, which may be null, at the current scale.
    virtual void setBackgroundImage(Retained<UIImage> image);

    /// True when more than `interval` seconds have passed since it last returned true.
    bool timeComeWithInterval(NSTimeInterval interval);

    bool isAnimating() const override { return _isAnimating.load(std::memory_order_relaxed); }
    void startAnimating() override;
    void pauseAnimating() override;
    void resumeAnimating() override;
    void stopAnimating() override;
    void doAnimating() override {}
    void removeFromSuperview() override;
    void scrollingDidFinish(CGFloat) override {}
    void tapActionAtViewPoint(CGPoint) override {}
    void gestureAction_atPoint(std::int32_t, CGPoint) override {}
    void openSettingMenu() override {}

    /// Makes frames, 25 ms apart at least, while the view is meant to animate, and blocks until it
    /// is stopped; returns at once when it is stopped already. The clock's operation runs the same
    /// loop on its own thread. Any thread; the caller keeps the view alive.
    void runLoop() final;

    /// Not owned; never called.
    DeskTopViewDelegate *destTopViewDelegate() const { return _destTopViewDelegate; }
    void setDestTopViewDelegate(DeskTopViewDelegate *delegate) { _destTopViewDelegate = delegate; }

    UIImageView *bgView() const { return _bgView.get(); }

    /// The horizontal scroll offset, in points.
    CGFloat offset() const { return _offset; }
    void setOffset(CGFloat offset) { _offset = offset; }

    /// Where taps count, in the view's coordinates.
    CGRect tapClipRect() const { return _tapClipRect.get(); }
    void setTapClipRect(const CGRect &rect) { _tapClipRect.set(rect); }

    NSInteger speedLevel() const { return _speedLevel; }
    virtual void setSpeedLevel(NSInteger level) { _speedLevel = level; }

    /// The queue that runs the animation's loops. A loop that was paused ends a frame later; a host
    /// that resumes before its operationCount() is 0 gets a second loop beside the first.
    const NSOperationQueue &operationQueue() const { return *_operationQueue; }

  protected:
    explicit DeskTopView(const CGRect &frame);
    ~DeskTopView() override;

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    class Loop;

    std::atomic<bool> _isAnimating{false};
    DeskTopViewDelegate *_destTopViewDelegate = nullptr;
    Retained<UIImageView> _bgView;
    CGFloat _offset = 0;
    TreeValue<CGRect> _tapClipRect;
    TreeValue<Weak<UpdateOperation>> _updateOperation;
    Retained<NSOperationQueue> _operationQueue;
    NSTimeInterval _lastTime = 0;
    NSInteger _speedLevel = 0;
    TreeValue<CGFloat> _scale{1};
    const Retained<Loop> _loop;
};
