#include "Animation/DeskTopView/DeskTopView.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/QuartzCore/CAMediaTime.h"

#include <cstdint>
#include <dlfcn.h>
#include <link.h>
#include <string>

namespace {

constexpr NSTimeInterval kLoadingDelay = 0.5;
constexpr NSTimeInterval kFramePeriod = 0.025;
constexpr NSTimeInterval kOverrunPause = 0.001;
constexpr NSUInteger kFillsSuperview =
    UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight;

/// The path of the library that makes the bundle's wallpaper; empty when the description names
/// none.
std::string libraryPath(const NSBundle &bundle) {
    const auto file = bundle.pathForResource_ofType("description", "plist");
    const auto description = file ? NSDictionary::dictionaryWithContentsOfFile(*file) : nullptr;
    const PropertyList *value = description ? description->objectForKey("name Library") : nullptr;
    const std::string *name = value ? value->text() : nullptr;
    return name ? bundle.resourcePath() + "/" + *name : std::string();
}

using EntryPoint = DeskTopView *(*)(NSBundle *);

/// The library's own function that makes views; null when it has none. The loader also looks into
/// the libraries behind it, and behind every wallpaper is this one, whose function is not meant.
EntryPoint entryPointOf(void *library) {
    void *symbol = dlsym(library, "getDeskTopViewInstance");
    link_map *itself = nullptr;
    Dl_info place;
    if (!symbol || dlinfo(library, RTLD_DI_LINKMAP, &itself) != 0 || dladdr(symbol, &place) == 0) {
        return nullptr;
    }
    const bool isOwn = reinterpret_cast<std::uintptr_t>(place.dli_fbase) == itself->l_addr;
    return isOwn ? reinterpret_cast<EntryPoint>(symbol) : nullptr;
}

/// One turn of the loop: a frame on the main thread, then the rest of its period asleep. The view
/// is kept alive during the frame and may die while the loop sleeps. False when the loop is over.
bool runFrame(const Weak<DeskTopView> &weakView) {
    NSTimeInterval elapsed = 0;
    {
        const Retained<DeskTopView> view = weakView.lock();
        if (!view) {
            return false;
        }
        const NSTimeInterval start = CACurrentMediaTime();
        NSRunLoop::mainRunLoop().performSelectorOnMainThread(
            view.get(), [&view] { view->doAnimating(); }, true);
        elapsed = CACurrentMediaTime() - start;
    }
    NSThread::sleepForTimeInterval(elapsed < kFramePeriod ? kFramePeriod - elapsed : kOverrunPause);
    const Retained<DeskTopView> view = weakView.lock();
    return view && view->isAnimating();
}

} // namespace

DeskTopView *DeskTopView::createDeskTopViewFromBundle(NSBundle *bundle) {
    const std::string path = bundle ? libraryPath(*bundle) : std::string();
    void *library = path.empty() ? nullptr : dlopen(path.c_str(), RTLD_LAZY);
    if (!library) {
        return nullptr;
    }
    const EntryPoint entryPoint = entryPointOf(library);
    DeskTopView *view = entryPoint ? entryPoint(bundle) : nullptr;
    dlclose(library);
    return view;
}

Retained<DeskTopView> DeskTopView::initWithFrame(const CGRect &frame) {
    return makeRetained<DeskTopView>(frame);
}

DeskTopView::DeskTopView(const CGRect &frame) : UIScrollView(frame) {
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
    _operationQueue->cancelAllOperations();
    _operationQueue = nullptr;
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
    operation->setDelegate(this);
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
    const NSAutoreleasePool pool;
    Retained<DeskTopView> view = Retained<DeskTopView>::adopt(this);
    const Weak<DeskTopView> weakView(this);
    bool runs = isAnimating();
    view = nullptr;
    while (runs) {
        runs = runFrame(weakView);
    }
}
