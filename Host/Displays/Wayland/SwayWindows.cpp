#include "Host/Displays/Wayland/SwayWindows.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace Lumivera {

namespace {

/// Layouts, sizes and gaps change without an event, mostly by keys.
constexpr std::string_view kKindsOfEvents = R"(["window", "workspace", "binding"])";

/// What such an event begins with: changes that move no window. Titles change often.
constexpr std::array<std::string_view, 3> kUnimportant = {
    R"({ "change": "title")", R"({ "change": "mark")", R"({ "change": "urgent")"};

bool mattersAsWindowEvent(std::string_view text) {
    return std::none_of(kUnimportant.begin(), kUnimportant.end(),
                        [text](std::string_view begin) { return text.starts_with(begin); });
}

} // namespace

SwayWindows::SwayWindows(DescriptorWatch &waiter, std::function<void()> changed)
    : _socket(waiter, *this), _changed(std::move(changed)) {}

void SwayWindows::follow(int compositor) {
    forget();
    _isSway = _socket.open(compositor);
    if (_isSway) {
        _socket.ask(SwaySocket::kSubscribe, kKindsOfEvents);
        askForTree();
    }
}

void SwayWindows::end() {
    _socket.close();
    forget();
}

void SwayWindows::forget() {
    _tree.reset();
    _isTreeAsked = false;
    _isTreeOld = false;
}

std::optional<WaylandCover> SwayWindows::coverOf(const WaylandOutput &output,
                                                 std::optional<WaylandSize> free) const {
    const auto visibility = _tree ? _tree->visibilityOf(output.name(), free) : std::nullopt;
    return visibility ? std::optional(WaylandCover{*visibility, SurfaceVisibility::Covered})
                      : std::nullopt;
}

void SwayWindows::swaySays(std::uint32_t kind, const std::string &text) {
    if (kind == SwaySocket::kGetTree) {
        takeTree(text);
    } else if (kind == SwaySocket::kWindowEvent ? mattersAsWindowEvent(text)
                                                : (kind & SwaySocket::kEvents) != 0) {
        askForTree();
    }
}

void SwayWindows::swayLost() {
    forget();
    _changed();
}

/// Events that come before the answer need only one more question.
void SwayWindows::askForTree() {
    _isTreeOld = _isTreeAsked;
    if (!_isTreeAsked) {
        _isTreeAsked = true;
        _socket.ask(SwaySocket::kGetTree);
    }
}

/// Without a tree that can be read, other sources are asked about windows.
void SwayWindows::takeTree(const std::string &text) {
    _isTreeAsked = false;
    _tree = SwayTree::parse(text);
    if (std::exchange(_isTreeOld, false)) {
        askForTree();
    }
    _changed();
}

} // namespace Lumivera
