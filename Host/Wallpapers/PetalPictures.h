#pragma once

#include "Host/Wallpapers/PictureFile.h"

#include <string>
#include <vector>

namespace Lumivera {

/// The pictures of petals as the files of a bundle, for one, two and three pixels a point. Every
/// failure is a HostError that names the file.
class PetalPictures {
  public:
    struct File {
        std::string name;
        PictureFile::Bytes bytes;
    };
    using Files = std::vector<File>;

    /// The petals of another bundle, as they are.
    static Files ofBundle(const std::string &path);

    /// Petals from picture files. Each is made smaller to kSide, and never larger; the files for
    /// two and three pixels a point are exactly two and three times as large, and left out where
    /// the picture is too small. Fewer than kCount pictures are used several times. Prints a line
    /// about one without transparent parts.
    static Files ofPictures(const std::vector<std::string> &paths);

    /// The pictures that a petal wallpaper has.
    static constexpr std::size_t kCount = 7;

    /// The longer side of a petal, in points.
    static constexpr NSUInteger kSide = 36;
};

} // namespace Lumivera
