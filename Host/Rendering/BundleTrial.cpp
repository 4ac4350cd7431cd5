#include "Host/Rendering/BundleTrial.h"

#include "Host/Playing/OffscreenPicture.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleCall.h"
#include "Host/Wallpapers/BundleLibrary.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSThread.h"

#include <algorithm>
#include <dlfcn.h>
#include <filesystem>
#include <iterator>
#include <link.h>
#include <malloc.h>
#include <string>

namespace Lumivera {

namespace {

constexpr std::string_view kNames[] = {"none",  "load-lazily", "load-now",       "entry-point",
                                       "texts", "no-bundle",   "foreign-bundle", "ending"};

constexpr const char *kEntryPoint = "getDeskTopViewInstance";

/// A folder that every confined process may read.
constexpr const char *kForeignFolder = "/usr/lib";

/// In simulated seconds: until a view has loaded, 40 frames, and until its threads have ended.
constexpr NSTimeInterval kLoading = 2;
constexpr NSTimeInterval kAnimating = 1;
constexpr NSTimeInterval kEnding = 5;

/// The first views fill caches.
constexpr int kFirstViews = 3;
constexpr int kLaterViews = 5;
constexpr std::uint64_t kMaxBytesAView = 16 << 10;

struct Library {
    void *handle;
    std::string path;
};

Library load(BundleFolder folder, BundleLibrary::Binding binding) {
    BundleLibrary library(folder, BundleDescription::read(folder.path()).library);
    folder.close();
    const BundleCall call(BundleCall::Kind::Loading);
    return {library.load(binding), library.path()};
}

const link_map *mapOf(void *function) {
    Dl_info info{};
    void *map = nullptr;
    return dladdr1(function, &info, &map, RTLD_DL_LINKMAP) != 0 ? static_cast<link_map *>(map)
                                                                : nullptr;
}

/// dlsym() finds also what another library has that this one needs.
void requireOwn(const Library &library, const char *name) {
    void *const function = dlsym(library.handle, name);
    if (!function) {
        throw HostError(library.path, std::string("has no function ") + name,
                        "define it with extern \"C\" and default visibility");
    }
    link_map *own = nullptr;
    const link_map *const map = mapOf(function);
    if (dlinfo(library.handle, RTLD_DI_LINKMAP, &own) == 0 && map && map != own) {
        throw HostError(library.path,
                        std::string("has no function ") + name + " of its own; that of " +
                            std::filesystem::path(map->l_name).filename().string() + " is taken",
                        "define it, or do not link that library");
    }
}

void requireText(const Library &library, const char *name) {
    requireOwn(library, name);
    const BundleCall call(BundleCall::Kind::OtherSetter);
    const char *const text = reinterpret_cast<const char *(*)()>(dlsym(library.handle, name))();
    if (!text || !isValidUTF8(text)) {
        throw HostError(library.path, std::string(name) + " gives no text in UTF-8",
                        "return a text that the library keeps; it may be empty");
    }
}

void show(DeskTopView &view, UIView &root, const WallpaperSettings &settings) {
    settings.applyTo(view);
    root.addSubview(&view);
    {
        const BundleCall call(BundleCall::Kind::InitResource);
        NSRunLoop &loop = NSRunLoop::mainRunLoop();
        const Clock::Nanoseconds end = Clock::current().deadlineAfter(kLoading);
        while (!view.isAnimating() && loop.runNextCall(end)) {
        }
    }
    const BundleCall call(BundleCall::Kind::DoAnimating);
    NSRunLoop::mainRunLoop().runForSeconds(kAnimating);
}

/// A bundle that the library does not know, where it must not crash: the null one too.
void showForeign(const WallpaperBundle &bundle, const char *folder,
                 const WallpaperSettings &settings) {
    const SimulatedTime time({{0, 0}, settings.size}, settings.density);
    const auto foreign = folder ? NSBundle::bundleWithPath(folder) : nullptr;
    const auto root = UIView::initWithFrame({{0, 0}, settings.size});
    const BundleCall call(BundleCall::Kind::Ending);
    if (const auto view = bundle.makeViewOf(foreign.get())) {
        show(*view, *root, settings);
        view->removeFromSuperview();
    }
}

/// Shows a view and removes it. Throws when something of it is left.
void showOnce(const WallpaperBundle &bundle, const WallpaperSettings &settings) {
    const SimulatedTime time({{0, 0}, settings.size}, settings.density);
    const auto root = UIView::initWithFrame({{0, 0}, settings.size});
    const BundleCall call(BundleCall::Kind::Ending); // until all of the view is gone
    Weak<DeskTopView> last;
    {
        const auto view = bundle.makeView();
        last = Weak<DeskTopView>(view.get());
        show(*view, *root, settings);
        view->removeFromSuperview();
    }
    NSRunLoop::mainRunLoop().runForSeconds(kEnding);
    if (last.lock()) {
        throw HostError(bundle.path(), "a view that was removed and released lives on",
                        "release what retains it: a timer, a thread, a closure, itself");
    }
    if (NSThread::detachedThreadCount() > 0) {
        throw HostError(bundle.path(), "a thread of a view that is gone runs on",
                        "end it when the view stops animating");
    }
    if (NSRunLoop::mainRunLoop().nextDeadline() != Clock::kNever) {
        throw HostError(bundle.path(), "a deferred call of a view that is gone is still due",
                        "cancel it in the view's destructor");
    }
}

void showAndEnd(const WallpaperBundle &bundle, const WallpaperSettings &settings) {
    for (int i = 0; i < kFirstViews; ++i) {
        showOnce(bundle, settings);
    }
    const std::uint64_t before = memoryInUse();
    for (int i = 0; i < kLaterViews; ++i) {
        showOnce(bundle, settings);
    }
    const std::uint64_t after = memoryInUse();
    const std::uint64_t kept = after > before ? (after - before) / kLaterViews : 0;
    if (kept > kMaxBytesAView) {
        throw HostError(bundle.path(),
                        "each view leaves " + std::to_string(kept / 1024) + " KiB behind",
                        "release in its destructor what it owns");
    }
}

} // namespace

std::string_view nameOf(BundleTrial trial) { return kNames[static_cast<std::size_t>(trial)]; }

BundleTrial trialOfName(std::string_view name) {
    const auto found = std::find(std::begin(kNames), std::end(kNames), name);
    return found == std::end(kNames) ? BundleTrial::None
                                     : static_cast<BundleTrial>(found - std::begin(kNames));
}

void tryOut(BundleTrial trial, BundleFolder folder, const WallpaperSettings &settings) {
    using Binding = BundleLibrary::Binding;
    switch (trial) {
    case BundleTrial::None:
        break;
    case BundleTrial::LoadLazily:
        load(std::move(folder), Binding::Lazy);
        break;
    case BundleTrial::LoadNow:
        load(std::move(folder), Binding::Now);
        break;
    case BundleTrial::EntryPoint:
        requireOwn(load(std::move(folder), Binding::Lazy), kEntryPoint);
        break;
    case BundleTrial::Texts: {
        const Library library = load(std::move(folder), Binding::Lazy);
        requireText(library, "getDeskTopViewName");
        requireText(library, "getDeskTopViewVersion");
        break;
    }
    case BundleTrial::NoBundle:
        showForeign(WallpaperBundle(std::move(folder)), nullptr, settings);
        break;
    case BundleTrial::ForeignBundle:
        showForeign(WallpaperBundle(std::move(folder)), kForeignFolder, settings);
        break;
    case BundleTrial::Ending:
        showAndEnd(WallpaperBundle(std::move(folder)), settings);
        break;
    }
}

std::uint64_t memoryInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace Lumivera
