#include "Animation/DeskTopView/DeskTopView.h"

#include "Animation/Common/DataTool.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <dlfcn.h>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr NSTimeInterval kLoadingDelay = 0.5;
constexpr NSTimeInterval kFramePeriod = 0.025;
constexpr NSTimeInterval kOverrunPause = 0.001;
constexpr NSUInteger kFillsSuperview =
    UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight;

/// The path of the wallpaper's library; empty when the description names none.
std::string libraryPath(const NSBundle &bundle) {
    const auto value =
        DataTool::readDeskTopDescriptionWithKey_fromBundleFile("name Library", bundle.bundlePath());
    const std::string *name = value ? value->text() : nullptr;
    return name ? bundle.resourcePath() + "/" + *name : std::string();
}

using EntryPoint = DeskTopView *(*)(NSBundle *);

} // namespace

/// The delegate of the view's operations. It does not own the view, which may be destroyed while
/// the loop sleeps.
class DeskTopView::Loop final : public NSObject, public UpdateOperationDelegate {
  public:
    explicit Loop(DeskTopView *view) : _view(view) {}

    bool respondsToSelector(std::string_view selector) const override {
        const auto view = _view.lock();
        return view && view->respondsToSelector(selector);
    }

    void runLoop() override {
        const NSAutoreleasePool pool;
        while (isWanted()) {
            const NSTimeInterval elapsed = runFrame();
            NSThread::sleepForTimeInterval(elapsed < kFramePeriod ? kFramePeriod - elapsed
                                                                  : kOverrunPause);
        }
    }

  private:
    bool isWanted() const {
        const auto view = _view.lock();
        return view && view->_isAnimating.load(std::memory_order_relaxed);
    }

    /// Returns the seconds that the frame took, including the wait for the main thread.
    NSTimeInterval runFrame() const {
        const NSTimeInterval start = CACurrentMediaTime();
        if (const auto view = _view.lock()) {
            NSRunLoop::mainRunLoop().performSelectorOnMainThread(
                view.get(), [&view] { view->doAnimating(); }, true);
        }
        return CACurrentMediaTime() - start;
    }

    const Weak<DeskTopView> _view;
};

DeskTopView *DeskTopView::createDeskTopViewFromBundle(NSBundle *bundle) {
    const std::string path = bundle ? libraryPath(*bundle) : std::string();
    void *library = path.empty() ? nullptr : dlopen(path.c_str(), RTLD_LAZY);
    if (!library) {
        return nullptr;
    }
    const auto entryPoint = reinterpret_cast<EntryPoint>(dlsym(library, "getDeskTopViewInstance"));
    DeskTopView *view = entryPoint ? entryPoint(bundle) : nullptr;
    dlclose(library);
    return view;
}

Retained<DeskTopView> DeskTopView::initWithFrame(const CGRect &frame) {
    return makeRetained<DeskTopView>(frame);
}

DeskTopView::DeskTopView(const CGRect &frame)
    : UIScrollView(frame), _loop(makeRetained<Loop>(this)) {
    setClipsToBounds(true);
    setShowsVerticalScrollIndicator(false);
    setShowsHorizontalScrollIndicator(false);
    setBounces(false);
    setBackgroundColor(UIColor::clearColor().get());
    setAutoresizingMask(kFillsSuperview);
    _bgView = UIImageView::initWithFrame(bounds());
    _bgView->setUserInteractionEnabled(true);
    _bgView->setAutoresizingMask(kFillsSuperview);
    _bgView->setContentMode(UIViewContentModeScaleAspectFill);
    addSubview(_bgView.get());
    setTapClipRect(bounds());
    _operationQueue = makeRetained<NSOperationQueue>();
    setScrollEnabled(false);
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        this, "delayLoading", [this] { delayLoading(); }, kLoadingDelay);
}

DeskTopView::~DeskTopView() {
    NSLog("=========DeskTopView dealloc=========");
    setDestTopViewDelegate(nullptr);
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(this, "delayLoading");
    DeskTopView::stopAnimating();
    _bgView = nullptr;
    std::exchange(_operationQueue, nullptr)->cancelAllOperations();
}

void DeskTopView::setFrame(const CGRect &frame) {
    UIScrollView::setFrame(frame);
    setTapClipRect(bounds());
}

void DeskTopView::delayLoading() {
    NSThread::detachNewThread(this, [this] { initResource(); });
}

void DeskTopView::initResource() {}

void DeskTopView::setScale(CGFloat scale) {
    const TreeAccess access;
    const CGPoint origin = frame().origin;
    layer()->setTransform(CATransform3DMakeScale(scale, scale, 1.0));
    setFrame({origin, frame().size});
    setTapClipRect(bounds());
    _scale.set(scale);
}

void DeskTopView::setBackgroundImage(Retained<UIImage> image) {
    const TreeAccess access;
    _bgView->setImage(std::move(image));
    setScale(scale());
}

bool DeskTopView::timeComeWithInterval(NSTimeInterval interval) {
    const NSTimeInterval now = CACurrentMediaTime();
    if (!(now - _lastTime > interval)) {
        return false;
    }
    _lastTime = now;
    return true;
}

void DeskTopView::startAnimating() {
    if (_isAnimating.exchange(true, std::memory_order_relaxed)) {
        return;
    }
    const auto operation = makeRetained<UpdateOperation>();
    operation->setDelegate(_loop.get());
    _updateOperation.set(Weak<UpdateOperation>(operation.get()));
    _operationQueue->addOperation(operation);
    _operationQueue->setSuspended(false);
}

void DeskTopView::pauseAnimating() { stopAnimating(); }

void DeskTopView::resumeAnimating() { startAnimating(); }

void DeskTopView::stopAnimating() {
    if (!_isAnimating.exchange(false, std::memory_order_relaxed)) {
        return;
    }
    if (const auto operation = _updateOperation.get().lock()) {
        operation->setDelegate(nullptr);
    }
    _operationQueue->cancelAllOperations();
}

void DeskTopView::removeFromSuperview() {
    stopAnimating();
    UIScrollView::removeFromSuperview();
}

void DeskTopView::runLoop() {
    const Retained<Loop> loop = _loop;
    loop->runLoop();
}
