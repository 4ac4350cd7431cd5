#pragma once

#include "Platform/Foundation/Retained.h"

#include <optional>
#include <string>
#include <string_view>

/// A folder with resources, directly in it. Any thread.
class PLATFORM_EXPORT NSBundle final : public NSObject {
  public:
    /// Null when the path is not that of a folder. The folder's contents are not checked.
    static Retained<NSBundle> bundleWithPath(const std::string &path);

    /// The folder of the running program. Never null; always the same object.
    static Retained<NSBundle> mainBundle();

    /// The path as it was given, without slashes at its end.
    const std::string &bundlePath() const noexcept { return _path; }

    /// Where the resources are: the folder itself.
    const std::string &resourcePath() const noexcept { return _path; }

    /// The path of the regular file "name.type" among the resources, or of "name" when the type is
    /// empty. Nothing when there is no such file. The name is not checked: it may contain ".." and
    /// so lead out of the bundle.
    std::optional<std::string> pathForResource_ofType(std::string_view name,
                                                      std::string_view type) const;

  private:
    explicit NSBundle(std::string path);
    ~NSBundle() override;

    const std::string _path;
};
