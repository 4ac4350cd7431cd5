#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"

/// The colours of the chooser, and the measures that its parts share, in units of its layout.
namespace Lumivera::ChooserStyle {

inline constexpr CGColor kBackground{0.075, 0.067, 0.102, 1};
inline constexpr CGColor kPanelTop{1, 0.94, 1, 0.075};
inline constexpr CGColor kPanelBottom{1, 0.94, 1, 0.035};
inline constexpr CGColor kPanelEdge{1, 0.92, 0.98, 0.09};
inline constexpr CGColor kText{0.97, 0.94, 0.97, 1};
inline constexpr CGColor kFaintText{0.97, 0.94, 0.97, 0.58};
inline constexpr CGColor kMark{0.97, 0.94, 0.97, 0.3};
inline constexpr CGColor kAccent{0.965, 0.675, 0.765, 1};
inline constexpr CGColor kOnAccent{0.16, 0.07, 0.11, 1};
inline constexpr CGColor kWarning{1, 0.74, 0.55, 1};

inline constexpr CGFloat kPreviewCorner = 14;
inline constexpr CGFloat kCardCorner = 9;
inline constexpr CGFloat kSmallText = 13;
inline constexpr CGFloat kUsualText = 14;
inline constexpr CGFloat kTitleText = 21;

} // namespace Lumivera::ChooserStyle
