#include "Host/Wallpapers/BundleCall.h"

#include "Platform/Foundation/NSThread.h"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <new>

namespace Lumivera {

namespace {

constexpr const char *kNames[] = {"",
                                  "the code that runs when it is loaded",
                                  "getDeskTopViewInstance",
                                  "the use of what getDeskTopViewInstance gave",
                                  "initResource",
                                  "doAnimating",
                                  "tapActionAtViewPoint",
                                  "gestureAction_atPoint",
                                  "setScale",
                                  "setFrame",
                                  "setSpeedLevel",
                                  "the setting of a value",
                                  "pauseAnimating",
                                  "resumeAnimating",
                                  "scrollingDidFinish",
                                  "the drawing of its view",
                                  "removeFromSuperview or its destructor"};
static_assert(std::size(kNames) == static_cast<std::size_t>(BundleCall::Kind::Ending) + 1);

std::atomic<std::uint32_t> ownPlace{0};
std::atomic<std::uint32_t> *place = &ownPlace;

/// Another thread than the main one is the one that runs initResource, as long as that is waited
/// for.
std::string wordsForPlace() {
    const bool isOwnThread =
        !NSThread::isMainThread() && BundleCall::current() != BundleCall::Kind::InitResource;
    return isOwnThread ? " in a thread of its own"
                       : BundleCall::words(static_cast<std::uint32_t>(BundleCall::current()));
}

std::string wordsForType(const std::type_info &type, const std::string &text) {
    return "threw " + nameOfClass(type) + wordsForPlace() + (text.empty() ? "" : ": " + text);
}

} // namespace

void BundleCall::set(Kind kind) {
    place->store(static_cast<std::uint32_t>(kind), std::memory_order_relaxed);
}

BundleCall::Kind BundleCall::current() {
    return static_cast<Kind>(place->load(std::memory_order_relaxed));
}

std::string BundleCall::words(std::uint32_t kind) {
    return kind == 0 || kind >= std::size(kNames) ? "" : std::string(" in ") + kNames[kind];
}

void BundleCall::keepAt(std::atomic<std::uint32_t> &newPlace) {
    newPlace.store(place->load(std::memory_order_relaxed), std::memory_order_relaxed);
    place = &newPlace;
}

std::string nameOfClass(const std::type_info &type) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void *)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return status == 0 ? name.get() : type.name();
}

std::string wordsFor(const std::exception &error) {
    if (dynamic_cast<const std::bad_alloc *>(&error)) {
        const std::string place = wordsForPlace();
        return "takes more memory than a wallpaper may have" + (place.empty() ? "" : "," + place);
    }
    return wordsForType(typeid(error), error.what());
}

std::string wordsForCurrentException() {
    const std::exception_ptr exception = std::current_exception();
    if (!exception) {
        return {};
    }
    try {
        std::rethrow_exception(exception);
    } catch (const std::exception &error) {
        return wordsFor(error);
    } catch (const char *text) {
        return wordsForType(typeid(text), text ? text : "");
    } catch (const std::string &text) {
        return wordsForType(typeid(text), text);
    } catch (...) {
        return wordsForType(*abi::__cxa_current_exception_type(), "");
    }
}

} // namespace Lumivera
