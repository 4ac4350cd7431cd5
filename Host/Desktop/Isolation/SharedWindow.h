#pragma once

#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Displays/SharedBuffers.h"
#include "Host/Displays/Window.h"
#include "Host/Support/DescriptorWaiter.h"
#include "Host/Support/PacketSocket.h"

#include <memory>
#include <optional>
#include <vector>

namespace Lumivera {

/// The window of a view whose pictures another process shows. It draws into the shared memory when
/// that process allows it, reports each picture, and passes input from that process to its
/// listener. Main thread.
class SharedWindow final : public Window {
  public:
    /// `host` is not owned. `density` in pixels a point; for `isTransparent` see CompositorTarget.
    SharedWindow(const PacketSocket &host, std::unique_ptr<SharedBuffers> memory, CGFloat density,
                 bool isTransparent);

    /// The main run loop's waiter, for further descriptors.
    DescriptorWaiter &waiter() { return _waiter; }

    /// Nothing is drawn before this call, because a view that has not loaded shows nothing yet.
    void begin() { _hasBegun = true; }

    /// Carries out an order about drawing, visibility or input; ignores the other kinds.
    void obey(const ViewOrder &order);

    void setListener(Listener *listener) override { _listener = listener; }
    CGSize size() const override;
    CGFloat density() const override { return _density; }

    /// A resting window counts as visible until its first picture is drawn.
    bool isVisible() const override { return !_isResting || _pictureCount == 0; }
    void present(const Drawing &draw) override;
    void setTitle(const std::string &) override {}
    void toggleFullScreen() override {}

    void wait(Clock::Nanoseconds nanoseconds) override { _waiter.wait(nanoseconds); }
    void wake() override { _waiter.wake(); }

  private:
    void allowDrawing(std::uint32_t index);
    void setResting(bool isResting);
    void report(std::uint32_t index, const std::vector<DeviceRect> &rects) const;

    const PacketSocket &_host;
    const std::unique_ptr<SharedBuffers> _memory;
    const CGFloat _density;
    const bool _isTransparent;
    DescriptorWaiter _waiter;
    Listener *_listener = nullptr;
    std::optional<std::uint32_t> _allowed;

    /// For each buffer, the value of _pictureCount after it was last drawn into; 0 for never.
    std::vector<std::uint64_t> _drawnAt;
    std::uint64_t _pictureCount = 0;
    bool _hasBegun = false;
    bool _isResting = false;
};

} // namespace Lumivera
