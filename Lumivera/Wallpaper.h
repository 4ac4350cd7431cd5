#pragma once

// All that a wallpaper needs: the base class of its view, pictures, animations, sounds, and the
// functions by which hosts find it.

#include "Animation/Common/CppVector2D.h"
#include "Animation/Common/DataTool.h"
#include "Animation/Common/ImageCache.h"
#include "Animation/Common/ImageSet.h"
#include "Animation/Common/LWUICommonDefine.h"
#include "Animation/Common/NSData+DataEncrypt.h"
#include "Animation/Common/SoundPlay.h"
#include "Animation/Common/UIView+LWUIAnimation.h"
#include "Animation/DeskTopView/DeskTopView.h"
#include "Animation/DeskTopView/IconViewNode.h"
#include "Lumivera/Interface.h"
#include "Platform/AudioToolbox/AudioServices.h"
#include "Platform/CoreGraphics/ImageOperations.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/UIKit/UIGraphics.h"
#include "Platform/UIKit/UIImageView.h"
#include "Platform/UIKit/UIScreen.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

namespace Lumivera {

/// Gives a class whose constructors and destructor are protected public ones.
template <class T> class Made final : public T {
  public:
    template <class... Arguments>
    explicit Made(Arguments &&...arguments) : T(std::forward<Arguments>(arguments)...) {}
    ~Made() override = default;
};

/// Makes a counted object; the result owns its first reference. The class's constructors may be
/// protected, as those of views are.
template <class T, class... Arguments> Retained<T> make(Arguments &&...arguments) {
    using Class = std::conditional_t<std::is_final_v<T>, T, Made<T>>;
    return Retained<T>(makeRetained<Class>(std::forward<Arguments>(arguments)...));
}

/// The picture of that file in the bundle, at the screen's density where there is one; null when
/// there is none. Main thread, or the thread of initResource.
inline Retained<UIImage> picture(const std::string &name) {
    return ImageCache::sharedInstance()->imageWithName(name);
}

/// A short sound, a WAV file of the bundle. Silent when the file is missing or is no sound. Main
/// thread, or the thread of initResource.
class Sound {
  public:
    Sound() = default;
    explicit Sound(const std::string &name) {
        const auto bundle = ImageCache::sharedInstance()->resBundle();
        if (bundle) {
            const auto file = NSURL::fileURLWithPath(bundle->resourcePath() + "/" + name);
            AudioServicesCreateSystemSoundID(file.get(), &_sound);
        }
    }
    ~Sound() { AudioServicesDisposeSystemSoundID(_sound); }

    Sound(Sound &&other) noexcept : _sound(std::exchange(other._sound, 0)) {}
    Sound &operator=(Sound &&other) noexcept {
        std::swap(_sound, other._sound);
        return *this;
    }

    void play() const { AudioServicesPlaySystemSound(_sound); }

  private:
    SystemSoundID _sound = 0;
};

/// Random numbers that a host can make repeat. A generator takes its seed from std::rand() when it
/// is used first, so use it in the first frame or later: hosts seed std::rand() after initResource,
/// with a number of their own for each output, or with the one of `--seed`. From the same seed it
/// gives the same numbers on every machine. One thread at a time.
class Random {
  public:
    /// From 0 to 1, 1 excluded.
    double unit() {
        constexpr double kNumbers = 4294967296.0;
        return static_cast<double>((*this)()) / kNumbers;
    }

    /// From `low` to `high`, `high` excluded unless single precision rounds to it.
    CGFloat between(CGFloat low, CGFloat high) {
        return static_cast<CGFloat>(low + (high - low) * unit());
    }

    /// A whole number from 0 to `count` - 1; 0 for a count below 2.
    int below(int count) { return static_cast<int>(unit() * (count > 0 ? count : 0)); }

    /// True with that probability, from 0 to 1.
    bool chance(double probability) { return unit() < probability; }

    // What the algorithms of the standard library need, such as std::shuffle.
    using result_type = std::uint32_t;
    static constexpr result_type min() { return 0; }
    static constexpr result_type max() { return 0xffffffff; }
    result_type operator()() {
        if (!_generator) {
            _generator.emplace(static_cast<result_type>(std::rand()));
        }
        return static_cast<result_type>((*_generator)());
    }

  private:
    std::optional<std::mt19937> _generator;
};

/// What getDeskTopViewInstance does: pictures come from the bundle, and the new view is 320 points
/// wide and as high as the screen, until the host gives it its size. `View` is constructed from a
/// frame.
template <class View> DeskTopView *viewOfBundle(NSBundle *bundle) {
    static_assert(std::is_base_of_v<DeskTopView, View>, "a wallpaper's view is a DeskTopView");
    ImageCache::sharedInstance()->setResBundle(Retained<NSBundle>(bundle));
    const auto screen = UIScreen::mainScreen();
    const CGRect frame = CGRectMake(0, 0, 320, screen ? screen->bounds().size.height : 480);
    return autorelease<DeskTopView>(make<View>(frame));
}

} // namespace Lumivera

/// Defines the functions by which hosts find the wallpaper, and the note that tells for which
/// interface it is made. Once in a library, outside all namespaces; the texts are UTF-8.
#define LUMIVERA_WALLPAPER(View, name, version)                                                    \
    LUMIVERA_INTERFACE_NOTE;                                                                       \
    extern "C" {                                                                                   \
    WALLPAPER_EXPORT const char *getDeskTopViewName(void);                                         \
    WALLPAPER_EXPORT const char *getDeskTopViewVersion(void);                                      \
    WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *bundle);                        \
    }                                                                                              \
    const char *getDeskTopViewName(void) { return name; }                                          \
    const char *getDeskTopViewVersion(void) { return version; }                                    \
    DeskTopView *getDeskTopViewInstance(NSBundle *bundle) {                                        \
        return Lumivera::viewOfBundle<View>(bundle);                                               \
    }                                                                                              \
    static_assert(true) // takes the semicolon
