#pragma once

#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Displays/SharedBuffers.h"
#include "Host/Displays/Window.h"
#include "Host/Support/DescriptorWaiter.h"
#include "Host/Support/PacketSocket.h"

#include <functional>
#include <memory>
#include <optional>
#include <utility>
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
    bool hasBegun() const { return _hasBegun; }

    /// Called before each picture until begin(), which it may call.
    void setBeginning(std::function<void()> beginning) { _beginning = std::move(beginning); }

    /// Carries out an order about drawing, visibility or input; ignores the other kinds.
    void obey(const ViewOrder &order);

    void setListener(Listener *listener) override { _listener = listener; }
    CGSize size() const override;
    CGFloat density() const override { return _density; }

    bool isVisible() const override { return true; }
    void present(const Drawing &draw) override;
    void setTitle(const std::string &) override {}
    void toggleFullScreen() override {}

    void wait(Clock::Nanoseconds nanoseconds) override { _waiter.wait(nanoseconds); }
    void wake() override { _waiter.wake(); }

  private:
    void allowDrawing(std::uint32_t index);
    void setResting(bool isResting);
    void updatePause();
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
    std::function<void()> _beginning;
    bool _hasBegun = false;
    bool _isResting = false;
    bool _isPaused = false;

    /// While paused, each order that may change the view is drawn once. An animation that goes on
    /// by itself is not, because somebody may have hidden it.
    bool _isChangeDue = false;
};

} // namespace Lumivera
