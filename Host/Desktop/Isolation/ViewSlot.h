#pragma once

#include "Host/Desktop/Isolation/RemoteView.h"
#include "Host/Displays/Desktop.h"

#include "Platform/Foundation/Clock.h"

#include <functional>
#include <memory>
#include <string>

namespace Lumivera {

/// What a view is to be made with.
struct ViewRequest {
    std::string bundle; ///< its path
    WallpaperChoice choice;
    std::shared_ptr<SharedBuffers> memory;
    CGFloat density = 1;
};

/// Makes views; a HostError when there can be none.
using ViewMaker =
    std::function<std::unique_ptr<RemoteView>(const ViewRequest &, RemoteView::Listener &)>;

/// A view on an output, with its memory and what is known of it.
struct ViewSlot {
    std::string bundle;
    SurfaceGeometry geometry;
    std::shared_ptr<SharedBuffers> memory;
    std::unique_ptr<RemoteView> view;
    Clock::Nanoseconds startTime = 0;

    /// For the one that is wanted, while that takes long.
    bool isStandIn = false;

    /// It has run for long enough to be the last good one.
    bool isProven = false;
};

} // namespace Lumivera
