#pragma once

#include "Host/Commands/Gallery/Gallery.h"

#include <string>

namespace Lumivera {

/// The gallery without a display: as a film, or as a sheet of moments, whichever the name of the
/// output asks for. Runs on simulated time; the same options give the same bytes. Main thread.
class GalleryRendering {
  public:
    struct Options {
        PictureSize size;
        NSUInteger columns = 0;
        NSTimeInterval seconds = kFilmSeconds;
    };

    /// HostErrors tell of anything amiss.
    static void writeFilm(const std::string &bundlePath, const std::string &output,
                          const Options &options);
    static void writeSheet(const std::string &bundlePath, const std::string &output,
                           const Options &options);

    /// How many moments of each exhibit a sheet shows.
    static constexpr NSUInteger kMoments = 6;
};

} // namespace Lumivera
