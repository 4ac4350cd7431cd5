#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"
#include "Platform/Foundation/TreeLock.h"

/// The screen that the host shows wallpapers on. Belongs to the view tree.
class PLATFORM_EXPORT UIScreen final : public NSObject {
  public:
    UIScreen(const CGRect &bounds, CGFloat scale);

    /// Null when the host has set none.
    static Retained<UIScreen> mainScreen();
    static void setMainScreen(Retained<UIScreen> screen);

    /// In points.
    CGRect bounds() const { return _bounds.get(); }
    void setBounds(const CGRect &bounds) { _bounds.set(bounds); }

    /// Pixels a point. Values not above 0 count as 1.
    CGFloat scale() const { return _scale.get(); }
    void setScale(CGFloat scale);

  private:
    ~UIScreen() override = default;

    TreeValue<CGRect> _bounds;
    TreeValue<CGFloat> _scale;
};
