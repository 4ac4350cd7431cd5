#pragma once

#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

#include <cstddef>
#include <functional>
#include <set>
#include <string>

namespace Lumivera {

/// Hears of changes to the files of a bundle, also when the folder goes away and comes back. Tools
/// write a file in many steps, and a bundle in many files, so it tells of a change once nothing has
/// changed for kQuietTime. Main thread.
class BundleWatch final : private DescriptorSource {
  public:
    static constexpr NSTimeInterval kQuietTime = 0.3;

    /// Limits of the folders that are watched, and of how deep they lie in the bundle.
    static constexpr std::size_t kMaxFolders = 1000;
    static constexpr int kMaxDepth = 32;

    /// `changed` is called in call-outs of the main run loop. The path is one of a folder that may
    /// be missing. The watch is not owned. Throws a HostError when the system has no means left.
    BundleWatch(DescriptorWatch &watch, std::string path, std::function<void()> changed);
    ~BundleWatch();

    BundleWatch(const BundleWatch &) = delete;
    BundleWatch &operator=(const BundleWatch &) = delete;

  private:
    int descriptor() const override { return _notifications; }
    void serve() override;
    bool concernsBundle(int watch, const char *name) const;
    void watchFolders();
    void watchBundle(const std::string &folder, int depth);

    DescriptorWatch &_watch;
    const std::string _path;
    const std::function<void()> _changed;
    const int _notifications;
    std::set<int> _watches;

    /// The watch of the nearest folder above the bundle that exists, and the name in it that leads
    /// to the bundle.
    int _parentWatch = -1;
    std::string _nameInParent;
    DeferredCall _tell;
};

} // namespace Lumivera
