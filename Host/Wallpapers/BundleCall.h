#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <string>
#include <typeinfo>

namespace Lumivera {

/// The call of a bundle's code that the main thread makes or waits for: as long as an object of
/// this class lives. It is kept in memory that another process may share, which so can name the
/// call in which this one has crashed or hangs. Main thread, but for current().
class BundleCall {
  public:
    enum class Kind : std::uint32_t {
        None,
        Loading,
        EntryPoint,
        NewView,
        InitResource,
        DoAnimating,
        Tap,
        Gesture,
        SetScale,
        SetFrame,
        SetSpeedLevel,
        OtherSetter,
        Pause,
        Resume,
        FinishScrolling,
        Drawing,
        Ending,
    };

    explicit BundleCall(Kind kind) : _before(current()) { set(kind); }

    /// An exception leaves the kind as it is, for those who tell of the exception.
    ~BundleCall() {
        if (std::uncaught_exceptions() == _exceptions) {
            set(_before);
        }
    }

    BundleCall(const BundleCall &) = delete;
    BundleCall &operator=(const BundleCall &) = delete;

    /// For a call that does not begin and end in one scope.
    static void set(Kind kind);
    static Kind current();

    /// " in doAnimating"; empty for None and for values that are no kind.
    static std::string words(std::uint32_t kind);

    /// From now on the kind is kept at that place, which must outlive the process's calls.
    static void keepAt(std::atomic<std::uint32_t> &place);

  private:
    const Kind _before;
    const int _exceptions = std::uncaught_exceptions();
};

/// The name of a class as its source has it.
std::string nameOfClass(const std::type_info &type);

/// The exception in words: "threw std::runtime_error in doAnimating: its text".
std::string wordsFor(const std::exception &error);

/// The same for any exception that is being handled; empty when there is none.
std::string wordsForCurrentException();

} // namespace Lumivera
