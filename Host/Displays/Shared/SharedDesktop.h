#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Shared/SharedSurface.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Lumivera {

/// A window system's desktop, of which viewers may show outputs themselves. The window system's own
/// surface of such an output leaves the screen, and comes back some seconds after the viewer is
/// gone. An output of another name is a new one. Main thread.
class SharedDesktop final : public Desktop,
                            private Desktop::Listener,
                            private SharedSurface::Owner {
  public:
    /// The watch is not owned.
    SharedDesktop(DescriptorWatch &watch, std::unique_ptr<Desktop> own);
    ~SharedDesktop() override;

    /// Owns the descriptor, a connection from a program of the user. It becomes an output once the
    /// program has told which one.
    void welcome(int descriptor);

    void setListener(Desktop::Listener *listener) override;
    std::string name() const override { return _own->name(); }
    void setLayerChoice(LayerChoice choice) override { _own->setLayerChoice(choice); }
    void settingsForgotten() override;

    /// Limit of viewers at a time.
    static constexpr std::size_t kMaxViewers = 32;

  private:
    /// A surface of the window system's.
    struct OwnOutput {
        DesktopSurface *surface;
        bool isShown;

        /// When it comes back, if no viewer shows it.
        Clock::Nanoseconds returnTime = 0;
    };

    void outputAdded(DesktopSurface &surface) override;
    void outputRemoved(DesktopSurface &surface) override;
    void desktopLost(const std::string &reason) override;
    void viewerArrived(SharedSurface &surface) override;
    void viewerLeft(SharedSurface &surface) override;

    /// Null when no viewer shows that output.
    const SharedSurface *viewerOf(const std::string &output) const;
    void hideOwn(const std::string &output);
    void showOwnAgain();
    void showOwnLater();

    DescriptorWatch &_watch;
    const std::unique_ptr<Desktop> _own;
    Desktop::Listener *_listener = nullptr;
    std::vector<OwnOutput> _ownOutputs;

    /// Those who have told their output, and those who have not.
    std::vector<std::unique_ptr<SharedSurface>> _viewers;
    std::vector<std::unique_ptr<SharedSurface>> _strangers;
    DeferredCall _showOwnAgain;
};

} // namespace Lumivera
