#pragma once

#include "Card.h"

#include <memory>

/// A page of animations and a page of pictures, one at a time, as cards in a grid. A tap turns the
/// page, with a chime; the cards of the next one appear in a wave that spreads from the finger.
class GalleryView : public DeskTopView {
  public:
    void initResource() override;
    void doAnimating() override;
    void pauseAnimating() override;
    void resumeAnimating() override;
    void setFrame(const CGRect &frame) override;
    void tapActionAtViewPoint(CGPoint point) override;

    using Cards = std::vector<std::unique_ptr<Card>>;

    /// The cards of the page that is shown; none before the first frame.
    const Cards &cards() const;

  protected:
    explicit GalleryView(const CGRect &frame);
    ~GalleryView() override = default;

  private:
    struct Page {
        Retained<UIView> view;
        Cards cards;
    };

    void addPage(const std::vector<Exhibit> &exhibits);
    void layOut();
    void beginCards();
    void showPage(std::size_t number, CGPoint from);

    const Retained<SoundPlay> _player;
    std::vector<Page> _pages;
    std::size_t _page = 0;
    CGSize _laidOutSize;
};
