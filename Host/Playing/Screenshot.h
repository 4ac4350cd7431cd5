#pragma once

#include "Host/Wallpapers/PictureSize.h"
#include "Platform/QuartzCore/CALayer.h"

#include <string>

namespace Lumivera {

/// Draws a tree into a new PNG in the user's pictures folder, named after the present time; its
/// path. A HostError when it cannot be written. Main thread.
std::string takeScreenshot(CALayer &root, const PictureSize &size);

} // namespace Lumivera
