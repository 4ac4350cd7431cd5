#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Shared/PictureMessage.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"
#include "Host/Support/PacketSocket.h"
#include "Platform/Foundation/Clock.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// A surface whose pictures another program, the viewer, shows: the host's end of a connection to
/// it. The viewer reads the very memory that the view draws into. Nothing that it sends is trusted;
/// one that breaks a rule, floods the host or does not read is left. Main thread.
class SharedSurface final : public DesktopSurface, private DescriptorSource {
  public:
    /// Called in call-outs of the main run loop.
    class Owner {
      public:
        /// The viewer has told its output for the first time.
        virtual void viewerArrived(SharedSurface &surface) = 0;

        /// The viewer is gone. The owner may destroy the surface within the call.
        virtual void viewerLeft(SharedSurface &surface) = 0;

      protected:
        ~Owner() = default;
    };

    /// The watch and the owner are not owned.
    SharedSurface(DescriptorWatch &watch, PacketSocket connection, Owner &owner);
    ~SharedSurface() override;

    SharedSurface(const SharedSurface &) = delete;
    SharedSurface &operator=(const SharedSurface &) = delete;

    /// Tells the viewer why it is not wanted; it leaves soon.
    void refuse(const std::string &words);

    /// Tells the viewer that what it has set through the control socket is forgotten.
    void tellForgotten() { send(PictureMessage::Forgotten{}); }

    /// Empty before the viewer has told its output.
    const std::string &outputName() const override { return _output.name; }

    void setListener(Listener *listener) override { _listener = listener; }
    SurfaceGeometry geometry() const override;
    SurfaceVisibility visibility() const override;
    SurfaceLayer layer() const override;
    void setBuffers(std::shared_ptr<SharedBuffers> memory) override;
    void present(unsigned index, const std::vector<DeviceRect> &damage) override;

    /// The words of layer().
    static constexpr const char *kWords = "shown by the desktop itself, behind its icons";

    /// How a user gets there on Plasma, the class of whose windows is kPlasma.
    static constexpr const char *kPlasma = "plasmashell";
    static constexpr const char *kWayOnPlasma =
        "install lumivera-plasma and choose Lumivera in the desktop's wallpaper settings: then "
        "Plasma shows all of it behind its icons";

    /// A viewer that sends more messages in a second is left.
    static constexpr unsigned kMaxMessagesASecond = 2000;

  private:
    int descriptor() const override { return _connection.descriptor(); }
    short awaitedEvents() const override;
    void serve() override;

    bool take(const PictureMessage::FromViewer &message);
    bool take(const PictureMessage::Release &release);
    void take(const PictureMessage::Tap &tap);
    bool isFlooded();
    void applyOutput();
    void wantBuffer();
    void send(const PictureMessage::FromHost &message, int attached = -1);
    void setStalled(bool isStalled);
    void leaveSoon();
    void leave();

    DescriptorWatch &_watch;
    const PacketSocket _connection;
    Owner &_owner;
    Listener *_listener = nullptr;

    /// What the viewer has told last, and what the listener knows; no name at first.
    PictureMessage::Output _told;
    PictureMessage::Output _output;

    std::shared_ptr<SharedBuffers> _memory;
    std::uint32_t _memoryNumber = 0;

    /// The buffer that the viewer has to release before anything more is drawn.
    std::optional<unsigned> _held;
    bool _isStalled = false;
    bool _isLeaving = false;

    Clock::Nanoseconds _secondBegan = 0;
    unsigned _messages = 0;

    /// Pending while a release is awaited and not yet overdue.
    DeferredCall _overdue;
    DeferredCall _wantBuffer;
    DeferredCall _leave;
};

} // namespace Lumivera
