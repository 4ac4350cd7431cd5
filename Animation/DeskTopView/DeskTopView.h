#pragma once

#include "Animation/DeskTopView/DeskTopViewInterface.h"
#include "Animation/DeskTopView/UpdateOperation.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSOperation.h"
#include "Platform/UIKit/UIImageView.h"
#include "Platform/UIKit/UIScrollView.h"

#include <atomic>

/// The type of a host's delegate. DeskTopView stores the pointer and calls nothing on it; a
/// wallpaper and its host may agree on a derived class.
class WALLPAPER_EXPORT DeskTopViewDelegate {
  protected:
    virtual ~DeskTopViewDelegate() = default;
};

/// Base class of every wallpaper, and the only class of one that a host knows: a view with a
/// full-size background picture. Its resources load on a thread of their own 0.5 s after its
/// creation; its animation clock calls doAnimating on the main thread, at most once in 25 ms.
///
/// A wallpaper derives from it, overrides initResource (which ends with startAnimating),
/// doAnimating and the touch hooks, and is made by its library's getDeskTopViewInstance.
class WALLPAPER_EXPORT DeskTopView : public UIScrollView,
                                     public DeskTopViewInterface,
                                     public UpdateOperationDelegate {
  public:
    /// Loads the library that the bundle's description names under "name Library" from the
    /// bundle's resource folder and asks it for a view, which is autoreleased. Null for a null
    /// bundle, without such a name, when the library cannot be opened, and when neither it nor a
    /// library that it links has getDeskTopViewInstance. Main thread.
    static DeskTopView *createDeskTopViewFromBundle(NSBundle *bundle);

    /// Valid as long as the library is loaded.
    static const char *name() { return ""; }
    static const char *version() { return ""; }

    /// Main thread. The resources load only while its run loop runs.
    static Retained<DeskTopView> initWithFrame(const CGRect &frame);

    void setFrame(const CGRect &frame) override;

    /// Starts the resource thread.
    virtual void delayLoading();

    /// Loads the wallpaper's resources; does nothing here. Called once, on a thread of its own.
    virtual void initResource();

    /// The display scale. Setting it keeps the frame's origin.
    CGFloat scale() const { return _scale.get(); }
    virtual void setScale(CGFloat scale);

    /// Shows the picture at the current scale; null shows none.
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

    /// Calls doAnimating on the main thread, at most once in 25 ms, until the animation is stopped;
    /// returns at once when it is stopped already. UpdateOperation runs the same loop on its
    /// thread. Any thread; the caller keeps the view alive.
    void runLoop() final;

    /// Not owned; no member of it is called.
    DeskTopViewDelegate *destTopViewDelegate() const { return _destTopViewDelegate; }
    void setDestTopViewDelegate(DeskTopViewDelegate *delegate) { _destTopViewDelegate = delegate; }

    UIImageView *bgView() const { return _bgView.get(); }

    /// The horizontal scroll offset, in points.
    CGFloat offset() const { return _offset; }
    void setOffset(CGFloat offset) { _offset = offset; }

    /// The area where taps have an effect, in the view's coordinates.
    CGRect tapClipRect() const { return _tapClipRect.get(); }
    void setTapClipRect(const CGRect &rect) { _tapClipRect.set(rect); }

    NSInteger speedLevel() const { return _speedLevel; }
    virtual void setSpeedLevel(NSInteger level) { _speedLevel = level; }

    /// The queue that runs the animation's loop. After a pause the loop ends within a frame; a host
    /// that resumes before operationCount() is 0 gets a second loop beside the first.
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
