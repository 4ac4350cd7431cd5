#pragma once

#include "Host/Desktop/Isolation/RemoteView.h"
#include "Host/Playing/Show.h"
#include "Host/Playing/WallpaperKeys.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/HostError.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// A wallpaper in a window, whose view runs in another process. When the window's size has changed
/// and settled, a new view is made; the picture of the old one is stretched until the new one has
/// drawn. The end of a view ends the show, unless it is to stay. Main thread.
class RemoteShow final : public Show, private RemoteView::Listener {
  public:
    struct Options {
        std::string bundle; ///< its path
        WallpaperValues values;

        /// The speed level that the bundle's description gives.
        NSInteger bundleSpeed = 0;

        /// The show ends by itself after this time.
        std::optional<double> seconds;

        ViewMaker makeView;

        /// Called after each frame of the visible view, with TraceWriter::entry(); may throw.
        std::function<void(std::string_view entry)> frameEnded = {};

        /// Called with the name of a sound that the view wants to be heard, which is not trusted.
        std::function<void(const std::string &name)> playSound = {};

        /// With this the show stays when a view ends or cannot be made, and shows why over the last
        /// picture: the words, as a clear picture of that width in points, or null. `viewFailed`
        /// gets them then, too.
        std::function<Retained<CGImage>(const std::string &words, CGFloat width, CGFloat density)>
            drawWords = {};
        std::function<void(const std::string &words)> viewFailed = {};
    };

    /// Throws a HostError when there can be no view.
    RemoteShow(Window &window, Options options);

    /// The bundle has changed: a new view takes the place of the shown one when it has drawn.
    void reload(NSInteger bundleSpeed);

  private:
    /// A view, and the memory that it draws into.
    struct Player {
        std::shared_ptr<SharedBuffers> memory;
        std::unique_ptr<RemoteView> view;
    };

    void setRunning(bool running) override;
    bool hasChanged() override { return !_damage.empty(); }
    const std::vector<DeviceRect> &draw(const CompositorTarget &target) override;
    std::string takeScreenshot() override;

    void windowResized() override;
    void tapped(CGPoint point) override;
    void scrolledBy(CGFloat distance) override;
    void scrollingEnded() override;
    void keyPressed(WindowKey key) override;

    void viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) override;
    void viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) override;
    void viewEndedFrame(RemoteView &view, std::string_view entry) override;
    void viewSounded(RemoteView &view, const std::string &name) override;

    void begin();
    void beginView();
    void fail(const HostError &error);
    void showWords();
    void setWords(const std::string &words);
    void drawWords(const CompositorTarget &target);
    void takePicture(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects);
    void allowDrawing();
    RemoteView *visibleView() const;
    PlayedValues playedValues() const;
    void set(const WallpaperValues &change);
    void keep(const SharedBuffers &memory, const std::vector<DeviceRect> &rects);
    void stretchInto(const CompositorTarget &target) const;

    Options _options;
    PictureSize _size;
    Player _shown;

    /// The view that has not drawn yet.
    Player _coming;

    /// The last picture, so that nobody changes it while it is used.
    std::vector<std::uint32_t> _picture;
    unsigned _width = 0;
    unsigned _height = 0;

    /// What of the picture is not drawn yet, and what was drawn last.
    std::vector<DeviceRect> _damage;
    std::vector<DeviceRect> _drawn;
    bool _isRunning = true;

    /// The shown view has drawn while it was to rest.
    bool _awaitsDrawing = false;

    /// The bundle has changed since the shown view was made.
    bool _isOutdated = false;

    /// What is wrong, when it shall be shown; what is shown of it, and its picture.
    std::string _comingWords;
    std::string _words;
    Retained<CGImage> _wordsPicture;
    std::size_t _wordsWidth = 0;
    CGFloat _wordsDensity = 0;

    CGFloat _comingDensity = 1;
    CGFloat _shownDensity = 1;
    DeferredCall _begin;
    DeferredCall _showWords;
};

} // namespace Lumivera
