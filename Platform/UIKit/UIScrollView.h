#pragma once

#include "Platform/UIKit/UIView.h"

/// A view whose content can be scrolled. The platform does not scroll; the properties are kept for
/// the host.
class PLATFORM_EXPORT UIScrollView : public UIView {
  public:
    static Retained<UIScrollView> initWithFrame(const CGRect &frame);

    bool isScrollEnabled() const { return _scrollEnabled.get(); }
    void setScrollEnabled(bool enabled) { _scrollEnabled.set(enabled); }

    bool bounces() const { return _bounces.get(); }
    void setBounces(bool bounces) { _bounces.set(bounces); }

    bool showsHorizontalScrollIndicator() const { return _showsHorizontalIndicator.get(); }
    void setShowsHorizontalScrollIndicator(bool shows) { _showsHorizontalIndicator.set(shows); }

    bool showsVerticalScrollIndicator() const { return _showsVerticalIndicator.get(); }
    void setShowsVerticalScrollIndicator(bool shows) { _showsVerticalIndicator.set(shows); }

  protected:
    using UIView::UIView;
    ~UIScrollView() override = default;

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    TreeValue<bool> _scrollEnabled{true};
    TreeValue<bool> _bounces{true};
    TreeValue<bool> _showsHorizontalIndicator{true};
    TreeValue<bool> _showsVerticalIndicator{true};
};
