#pragma once

#include "Animation/Common/SoundPlay.h"
#include "Host/Commands/Gallery/Gallery.h"
#include "Host/Playing/TreeShow.h"

#include <string>

namespace Lumivera {

/// Shows the gallery in a window: a click restarts an exhibit and plays a chime. Main thread.
class GalleryShow final : public TreeShow {
  public:
    struct Options {
        NSUInteger columns = 0;

        /// The show ends after that many seconds; without a value the user ends it.
        std::optional<double> seconds;

        /// A WAV file; clicks are silent when it is missing.
        std::string chimePath;
    };

    GalleryShow(Window &window, const GalleryPictures &pictures, const Options &options);

    /// Silences the chime.
    ~GalleryShow() override;

    Gallery &gallery() { return _gallery; }

  private:
    UIView &root() override { return _gallery.root(); }
    void setRunning(bool running) override;

    void windowResized() override;
    void tapped(CGPoint point) override;
    void scrolledBy(CGFloat) override {}
    void scrollingEnded() override {}

    Gallery _gallery;
    const Retained<SoundPlay> _sound;
    bool _isRunning = false;
};

/// Renders the gallery without a display, as a film or as a sheet of moments. Runs on simulated
/// time; the same options give the same bytes. Failures are HostErrors. Main thread.
class GalleryRendering {
  public:
    struct Options {
        PictureSize size;
        NSUInteger columns = 0;
        NSTimeInterval seconds = kFilmSeconds;
    };

    static void writeFilm(const std::string &bundlePath, const std::string &output,
                          const Options &options);
    static void writeSheet(const std::string &bundlePath, const std::string &output,
                           const Options &options);

    /// The number of moments of each exhibit on a sheet.
    static constexpr NSUInteger kMoments = 6;
};

} // namespace Lumivera
