#pragma once

#include "Host/Wallpapers/Rules/Remark.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// The commands that show a bundle.
enum Shower : unsigned {
    kRun = 1,
    kRender = 2,
    kCheck = 4,
    kDesktop = 8,
    kEveryShower = kRun | kRender | kCheck | kDesktop
};

/// What must happen to a wallpaper before its library does what is wrong.
enum class Cause { Showing, Tap, Gesture, Pause, Resume, Resize, SpeedChange };

/// A bundle whose library is broken, and what is said of it.
struct BrokenLibrary {
    /// What the library does, for hostileBundle().
    const char *deed;

    /// What every command says of the bundle or of the library; * stands for any text.
    const char *reason;

    /// How grave `lumivera check` finds it. Other commands go on with what is not wrong.
    Lumivera::Degree degree = Lumivera::Degree::Wrong;

    Cause cause = Cause::Showing;

    /// Whose users are told; the others show the bundle as if nothing were the matter.
    unsigned seenBy = kEveryShower;

    /// Why the others do not see it.
    const char *blindness = "";

    /// Whether it is found by waiting for so long that tests let time pass faster.
    bool isSlow = false;

    bool isSeenBy(Shower shower) const { return (seenBy & shower) != 0; }

    /// Whether that command ends because of it.
    bool ends(Shower shower) const { return isSeenBy(shower) && degree == Lumivera::Degree::Wrong; }

    /// Whether the text holds the reason's parts in their order.
    bool isToldIn(std::string_view text) const {
        std::string_view parts = reason;
        for (;;) {
            const std::size_t star = std::min(parts.find('*'), parts.size());
            const std::size_t at = text.find(parts.substr(0, star));
            if (at == text.npos || star == parts.size()) {
                return at != text.npos;
            }
            text.remove_prefix(at + star);
            parts.remove_prefix(star + 1);
        }
    }
};

inline void PrintTo(const BrokenLibrary &library, std::ostream *stream) { *stream << library.deed; }

inline constexpr const char *kOneViewOnly =
    "they end the process that runs the view, so nobody calls it any more";
inline constexpr const char *kNewProcess = "a new size is a new view in a new process there";

inline constexpr BrokenLibrary kBrokenLibraries[] = {
    // Exceptions, in each call.
    {"StartingWallpaper", "threw std::runtime_error in the code that runs when it is loaded: a "
                          "mistake at the start"},
    {"throw-in-entry",
     "threw std::runtime_error in getDeskTopViewInstance: a wallpaper's own mistake"},
    {"throw-in-construction",
     "threw std::runtime_error in getDeskTopViewInstance: a wallpaper's own mistake"},
    {"throw-in-init", "threw std::runtime_error in initResource: a wallpaper's own mistake"},
    {"throw-in-first", "threw std::runtime_error in doAnimating: a wallpaper's own mistake"},
    {"throw-in-frame", "threw std::runtime_error in doAnimating: a wallpaper's own mistake"},
    {"throw-in-tap", "threw std::runtime_error in tapActionAtViewPoint: a wallpaper's own mistake",
     Lumivera::Degree::Wrong, Cause::Tap},
    {"throw-in-gesture",
     "threw std::runtime_error in gestureAction_atPoint: a wallpaper's own mistake",
     Lumivera::Degree::Wrong, Cause::Gesture, kRender | kCheck, "they pass no gestures on"},
    {"throw-in-pause", "threw std::runtime_error in pauseAnimating: a wallpaper's own mistake",
     Lumivera::Degree::Wrong, Cause::Pause},
    {"throw-in-resume", "threw std::runtime_error in resumeAnimating: a wallpaper's own mistake",
     Lumivera::Degree::Wrong, Cause::Resume},
    {"throw-in-resize", "threw std::runtime_error in setFrame: a wallpaper's own mistake",
     Lumivera::Degree::Wrong, Cause::Resize, kRender | kCheck, kNewProcess},
    {"throw-in-speed", "threw std::runtime_error in setSpeedLevel: a wallpaper's own mistake",
     Lumivera::Degree::Wrong, Cause::SpeedChange},
    {"throw-in-end",
     "threw std::runtime_error in removeFromSuperview or its destructor: a wallpaper's own mistake",
     Lumivera::Degree::Wrong, Cause::Showing, kCheck, kOneViewOnly},
    {"throw-in-deallocation",
     "threw std::runtime_error in removeFromSuperview or its destructor: a wallpaper's own mistake",
     Lumivera::Degree::Wrong, Cause::Showing, kCheck, kOneViewOnly},
    {"throw-number-in-init", "threw int in initResource"},
    {"throw-number-in-frame", "threw int in doAnimating"},
    {"throw-aside-in-frame",
     "threw std::runtime_error in a thread of its own: a wallpaper's own mistake"},
    // The end of the process.
    {"crash-in-entry", "was ended by signal 11, Segmentation fault, in getDeskTopViewInstance"},
    {"crash-in-init", "was ended by signal 11, Segmentation fault, in initResource"},
    {"crash-in-frame", "was ended by signal 11, Segmentation fault, in doAnimating"},
    {"overflow-in-frame", "was ended by signal 11, Segmentation fault, in doAnimating"},
    {"abort-in-frame", "has called abort, in doAnimating: hostile.cpp:7: nothing is as it should"},
    {"exit-in-entry", "has exited with status 7, in getDeskTopViewInstance"},
    {"exit-in-init", "has exited with status 7, in initResource"},
    {"exit-in-frame", "has exited with status 7, in doAnimating"},
    {"exit-at-once-in-tap", "has exited with status 7, in tapActionAtViewPoint",
     Lumivera::Degree::Wrong, Cause::Tap},
    // Calls that do not return.
    {"wait-in-init", "has drawn nothing for * s, in initResource", Lumivera::Degree::Wrong,
     Cause::Showing, kEveryShower, "", true},
    {"wait-in-frame", "has drawn nothing for * s, in doAnimating", Lumivera::Degree::Wrong,
     Cause::Showing, kEveryShower, "", true},
    {"loop-in-entry", "has drawn nothing for * s*, in getDeskTopViewInstance",
     Lumivera::Degree::Wrong, Cause::Showing, kEveryShower, "", true},
    {"loop-in-init", "has drawn nothing for * s*, in initResource", Lumivera::Degree::Wrong,
     Cause::Showing, kEveryShower, "", true},
    {"loop-in-frame", "has drawn nothing for * s*, in doAnimating", Lumivera::Degree::Wrong,
     Cause::Showing, kEveryShower, "", true},
    // What is no view.
    {"nothing-in-return", "gave no view for the bundle"},
    {"number-in-return", ", in the use of what getDeskTopViewInstance gave"},
    {"plain-view-in-return", "gave an object of another class than DeskTopView: UIView"},
    {"other-view-in-return", "gave an object of another class than DeskTopView"},
    {"dangling-in-return", ", in the use of what getDeskTopViewInstance gave"},
    // How it was built.
    {"NoEntryPoint", "has no function getDeskTopViewInstance"},
    {"FutureWallpaper", "is made for interface 999 of the wallpaper kit, and this program has "
                        "interface 1"},
    {"UnboundWallpaper", "undefined symbol: functionThatIsNowhere"},
    {"ForgetfulWallpaper", "is not linked with -z nodelete", Lumivera::Degree::Doubtful,
     Cause::Showing, kCheck, "they never close a library"},
    // More than is allowed.
    {"print-in-first", "prints more than 4 KiB", Lumivera::Degree::Doubtful},
    {"allocate-in-frame", "memory"},
    {"flood-in-frame", "says what makes no sense"},
    {"complain-in-frame", "says what makes no sense"},
    {"move-in-frame", "says what makes no sense"},
};

/// All rows, those that take long, or the others; where there is no limit of memory, without those
/// that need one.
inline std::vector<BrokenLibrary> brokenLibraries(std::optional<bool> areSlow = {}) {
    std::vector<BrokenLibrary> libraries;
    std::copy_if(std::begin(kBrokenLibraries), std::end(kBrokenLibraries),
                 std::back_inserter(libraries), [areSlow](const BrokenLibrary &library) {
                     const bool takesAll = std::string_view(library.deed).starts_with("allocate");
                     return library.isSlow == areSlow.value_or(library.isSlow) &&
                            (kIsMemoryLimited || !takesAll);
                 });
    return libraries;
}

/// For the name of a test, which has no hyphens.
template <class Info> std::string nameOfBrokenLibrary(const Info &info) {
    std::string name = info.param.deed;
    std::erase(name, '-');
    return name;
}
