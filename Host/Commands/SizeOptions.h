#pragma once

#include "Host/Wallpapers/PictureSize.h"

#include <string>

namespace CLI {
class App;
}

namespace Lumivera {

/// The options that say how large a picture is to be.
class SizeOptions {
  public:
    void declare(CLI::App &app, const PictureSize &defaults);

    /// What the command line said; a UsageError when it makes no sense.
    PictureSize pictureSize() const;

  private:
    std::string _size;
    CGFloat _density = 1;
};

} // namespace Lumivera
