#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <string>

/// The location of a file. Never changes. Any thread.
class NSURL final : public NSObject {
  public:
    /// The file need not exist.
    static Retained<NSURL> fileURLWithPath(std::string path) {
        return makeRetained<NSURL>(std::move(path));
    }

    const std::string &path() const noexcept { return _path; }

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    explicit NSURL(std::string path) : _path(std::move(path)) {}
    ~NSURL() override = default;

    const std::string _path;
};
