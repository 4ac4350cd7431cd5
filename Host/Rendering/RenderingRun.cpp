#include "Host/Rendering/RenderingRun.h"

#include "Host/Support/HostError.h"
#include "Host/Support/ProgressBar.h"

namespace Lumivera {

RenderingRun::RenderingRun(std::string subject)
    : _subject(std::move(subject)), _signals([this] { _isInterrupted = true; }) {}

void RenderingRun::renderFrames(NSUInteger count,
                                const std::function<void(NSUInteger frame)> &render) const {
    ProgressBar progress("rendering", count);
    for (NSUInteger frame = 0; frame < count; ++frame) {
        render(frame);
        if (_isInterrupted) {
            throw HostError(_subject, "was interrupted; nothing was kept");
        }
        progress.update(frame + 1);
    }
}

} // namespace Lumivera
