#pragma once

#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Desktop/Isolation/ViewService.h"
#include "Host/Rendering/BundleTrial.h"
#include "Host/Rendering/RenderingSession.h"
#include "Host/Support/PacketSocket.h"
#include "Host/Wallpapers/BundleFolder.h"

#include <cstdint>
#include <vector>

namespace Lumivera {

/// Renders a wallpaper in simulated time for a host, as fast as that takes the pictures: with two
/// buffers it draws a picture while the host uses the one before. Main thread.
class RenderingService final {
  public:
    /// Waits for what is to be rendered. The socket is not owned. Throws a HostError when the host
    /// has gone.
    RenderingService(const PacketSocket &host, ViewService::Start start);

    /// Tries something out instead, and reports one frame when that succeeds.
    void run(BundleFolder folder, BundleTrial trial);

    /// Renders all frames. Throws the HostError of a failure before the first frame; the process
    /// ends with a later one, because the wallpaper's threads may wait for a call-out that has
    /// failed.
    void run(BundleFolder folder);

  private:
    void renderFrame(RenderingSession &session, std::uint64_t frame);
    void draw(RenderingSession &session);
    void reportFrame(double seconds) const;
    void waitForBuffer();

    const PacketSocket &_host;
    const std::unique_ptr<SharedBuffers> _memory;
    RenderingOrder _order;
    RenderingSession::Options _options;

    /// For each buffer, whether it may be drawn into.
    std::vector<bool> _isFree;
    std::uint64_t _pictureCount = 0;
};

} // namespace Lumivera
