#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <string>

/// A text that never changes, as an object: for texts whose identity matters or that may be
/// missing. Any thread.
class NSString final : public NSObject {
  public:
    static Retained<NSString> stringWithUTF8String(std::string text) {
        return makeRetained<NSString>(std::move(text));
    }

    /// In UTF-8.
    const std::string &text() const noexcept { return _text; }

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    explicit NSString(std::string text) : _text(std::move(text)) {}
    ~NSString() override = default;

    const std::string _text;
};
