#pragma once

#include "Host/Desktop/Isolation/PacketSocket.h"
#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Displays/Display.h"
#include "Host/Displays/SharedBuffers.h"
#include "Host/Support/DescriptorWaiter.h"

#include <memory>
#include <optional>
#include <vector>

namespace Lumivera {

/// The display of a view whose pictures another process shows: it draws into the memory of that
/// process whenever it may, and says so.
class SharedDisplay final : public Display {
  public:
    /// `reports` is not owned. `density` in pixels a point.
    SharedDisplay(const PacketSocket &reports, std::unique_ptr<SharedBuffers> memory,
                  CGFloat density);

    /// Where further descriptors can be waited for.
    DescriptorWaiter &waiter() { return _waiter; }

    /// Until then there is nothing to be seen yet, so nothing is drawn.
    void begin() { _hasBegun = true; }

    /// That picture may be drawn into, once.
    void allowDrawing(std::uint32_t index);

    /// Nobody can see the display while it rests. It counts as seen until its first picture.
    void setResting(bool isResting);

    void setListener(Listener *listener) override { _listener = listener; }
    CGSize size() const override;
    CGFloat density() const override { return _density; }
    bool isVisible() const override { return !_isResting || _pictureCount == 0; }
    void present(const Drawing &draw) override;
    void setTitle(const std::string &) override {}
    void toggleFullScreen() override {}

    void wait(Clock::Nanoseconds nanoseconds) override { _waiter.wait(nanoseconds); }
    void wake() override { _waiter.wake(); }

  private:
    void report(std::uint32_t index, const std::vector<DeviceRect> &rects) const;

    const PacketSocket &_reports;
    const std::unique_ptr<SharedBuffers> _memory;
    const CGFloat _density;
    DescriptorWaiter _waiter;
    Listener *_listener = nullptr;
    std::optional<std::uint32_t> _allowed;

    /// Of each picture, how many had been drawn when it last was; 0 for never.
    std::vector<std::uint64_t> _drawnAt;
    std::uint64_t _pictureCount = 0;
    bool _hasBegun = false;
    bool _isResting = false;
};

} // namespace Lumivera
