#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

/// A colour as an object. Any thread.
class PLATFORM_EXPORT UIColor final : public NSObject {
  public:
    /// Components are clamped to 0…1.
    static Retained<UIColor> colorWithRed_green_blue_alpha(CGFloat red, CGFloat green, CGFloat blue,
                                                           CGFloat alpha);
    static Retained<UIColor> clearColor();

    const CGColor &color() const noexcept { return _color; }

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    explicit UIColor(const CGColor &color) noexcept : _color(color) {}
    ~UIColor() override = default;

    const CGColor _color;
};
