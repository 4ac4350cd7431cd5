#pragma once

#include "Host/Displays/Wayland/SwaySocket.h"
#include "Host/Displays/Wayland/SwayTree.h"
#include "Host/Displays/Wayland/WaylandWindows.h"

#include <functional>
#include <optional>

namespace Lumivera {

/// Follows Sway's windows with their places, as long as Sway answers. Main thread.
class SwayWindows final : public WaylandWindows, private SwaySocket::Listener {
  public:
    /// `changed` is called in call-outs of the main run loop when covers may be different. The
    /// waiter is not owned.
    SwayWindows(DescriptorWatch &waiter, std::function<void()> changed);

    /// Asks Sway, if `compositor` is a connection to it and it offers its socket.
    void follow(int compositor);
    void end();

    /// Whether the compositor is Sway. It stays so when Sway does not answer any more.
    bool isSway() const { return _isSway; }

    /// Whether Sway has told of its windows.
    bool isKnown() const { return _tree.has_value(); }

    std::optional<WaylandCover> coverOf(const WaylandOutput &output,
                                        std::optional<WaylandSize> free) const override;

  private:
    void swaySays(std::uint32_t kind, const std::string &text) override;
    void swayLost() override;
    void askForTree();
    void forget();
    void takeTree(const std::string &text);

    SwaySocket _socket;
    const std::function<void()> _changed;
    std::optional<SwayTree> _tree;
    bool _isSway = false;
    bool _isTreeAsked = false;
    bool _isTreeOld = false;
};

} // namespace Lumivera
