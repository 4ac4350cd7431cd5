#pragma once

#include "Platform/CoreGraphics/CGColor.h"

#include <string>

namespace Lumivera {

/// Parses a colour: #rgb, #rgba, #rrggbb, #rrggbbaa or one of the basic names (red, teal,
/// silver ...), in letters of either case. A UsageError about `subject` for anything else.
CGColor colorFromText(const std::string &subject, const std::string &text);

} // namespace Lumivera
