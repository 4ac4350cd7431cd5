#pragma once

#include "Animation/Common/SoundPlay.h"
#include "Host/Commands/Gallery/Gallery.h"
#include "Host/Playing/Show.h"

namespace Lumivera {

/// The gallery on a display: a click begins an exhibit anew, with a chime. Main thread.
class GalleryShow final : public Show {
  public:
    struct Options {
        NSUInteger columns = 0;

        /// Ends by itself after that many seconds.
        std::optional<double> seconds;

        /// A WAV file; where there is none, clicks are silent.
        std::string chimePath;
    };

    GalleryShow(Display &display, const GalleryPictures &pictures, const Options &options);

    /// Silences the chime.
    ~GalleryShow() override;

    Gallery &gallery() { return _gallery; }

  private:
    UIView &root() override { return _gallery.root(); }
    void setRunning(bool running) override;

    void displayResized() override;
    void tapped(CGPoint point) override;
    void scrolledBy(CGFloat) override {}
    void scrollingEnded() override {}

    Gallery _gallery;
    const Retained<SoundPlay> _sound;
    bool _isRunning = false;
};

} // namespace Lumivera
