#pragma once

#include "Host/Commands/Chooser/ChooserPreview.h"
#include "Host/Commands/Chooser/ChooserShelf.h"
#include "Host/Playing/TreeShow.h"

#include <functional>
#include <string>
#include <vector>

namespace Lumivera {

/// Lets the user choose a bundle: shows all cards, a preview of the selected bundle and its
/// description. Main thread.
class ChooserShow final : public TreeShow {
  public:
    struct Options {
        std::vector<BundleListing> bundles;

        /// The index of the bundle that is selected at first.
        NSUInteger selected = 0;

        ViewMaker makeView;

        /// Makes the bundle the wallpaper; then the show ends. A HostError is shown in the window
        /// and printed on stderr.
        std::function<void(const BundleListing &bundle)> use;
    };

    ChooserShow(Window &window, Options options);

    const ChooserLayout &layout() const { return *_layout; }
    const ChooserShelf &shelf() const { return _shelf; }

    /// The index of the selected bundle.
    NSUInteger selected() const { return _selected; }

  private:
    UIView &root() override { return *_root; }
    void setRunning(bool running) override { _preview.setRunning(running); }

    void windowResized() override;
    void keyPressed(WindowKey key) override;
    void tapped(CGPoint point) override;
    void scrolledBy(CGFloat distance) override;
    void scrollingEnded() override {}
    void scrolledDownBy(CGFloat distance) override;

    bool hasBundles() const { return !_options.bundles.empty(); }
    const BundleListing &bundle() const { return _options.bundles[_selected]; }
    void layOut();
    void select(NSUInteger index);
    void use();
    void describe();
    void write(UIView &view, const std::string &text, CGFloat size, const CGColor &color,
               bool isBold);
    void drawButton();

    const Options _options;
    const Retained<UIView> _root;
    const Retained<UIView> _title;
    const Retained<UIView> _details;
    const Retained<UIView> _button;
    const Retained<UIView> _buttonText;
    ChooserPreview _preview;
    ChooserShelf _shelf;
    std::optional<ChooserLayout> _layout;
    NSUInteger _selected = 0;

    /// Why the selected bundle could not be made the wallpaper.
    std::string _failure;
};

} // namespace Lumivera
