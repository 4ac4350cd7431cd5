#pragma once

#include <optional>
#include <string>

namespace Lumivera {

/// Lets a photo stand for a bundle on the command line: a bundle with the photo as its background
/// is made in the user's wallpapers folder. Its name follows from what the photo holds, so the same
/// photo gives the same bundle again, which is not made anew. Main thread; the main run loop must
/// have no waiter.
class PhotoBundle {
  public:
    /// The path of the bundle for a photo, made if it is missing. Nothing for an argument that is a
    /// folder, the name of an installed bundle, or no name of a picture. Throws HostErrors.
    static std::optional<std::string> pathFor(const std::string &argument);

    /// The same, and Places::requireBundle() for all others.
    static std::string requireBundle(const std::string &argument);
};

} // namespace Lumivera
