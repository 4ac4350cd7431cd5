#pragma once

#include "Platform/UIKit/UIImage.h"
#include "Platform/UIKit/UIView.h"

/// A view that shows one image. User interaction is off at first.
class PLATFORM_EXPORT UIImageView : public UIView {
  public:
    static Retained<UIImageView> initWithFrame(const CGRect &frame);

    /// May be null.
    Retained<UIImage> image() const { return _image.get(); }

    /// Shows the image as the content mode says; the frame does not change. Null shows nothing.
    void setImage(Retained<UIImage> image);

  protected:
    explicit UIImageView(const CGRect &frame);
    ~UIImageView() override = default;

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    TreeValue<Retained<UIImage>> _image;
};
