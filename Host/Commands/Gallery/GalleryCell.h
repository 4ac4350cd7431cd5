#pragma once

#include "Host/Commands/Gallery/ExhibitStage.h"
#include "Host/Commands/Gallery/GalleryPictures.h"

#include <memory>
#include <vector>

namespace Lumivera {

/// A card with an exhibit's label, and the exhibit on it: once, or several times side by side.
/// Main thread.
class GalleryCell {
  public:
    /// Labels that would be too small to be read are left out.
    GalleryCell(const Exhibit &exhibit, const GalleryPictures &pictures, const CGRect &frame,
                CGFloat density, NSUInteger stageCount);

    UIView &view() { return *_view; }
    const std::vector<std::unique_ptr<ExhibitStage>> &stages() const { return _stages; }

    void play();
    void hold();

    /// Plays, and holds each of the stages at a moment of its own: they share the pass evenly, and
    /// the first shows its beginning.
    void holdMoments();

  private:
    const Exhibit &_exhibit;
    const Retained<UIView> _view;
    std::vector<std::unique_ptr<ExhibitStage>> _stages;
};

} // namespace Lumivera
