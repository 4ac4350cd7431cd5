#include "Platform/UIKit/UIImageView.h"

Retained<UIImageView> UIImageView::initWithFrame(const CGRect &frame) {
    return makeRetained<UIImageView>(frame);
}

UIImageView::UIImageView(const CGRect &frame) : UIView(frame) { setUserInteractionEnabled(false); }

void UIImageView::setImage(Retained<UIImage> image) {
    const TreeAccess access;
    if (image) {
        layer()->setContents(image->bitmap());
        layer()->setContentsScale(image->scale());
    } else {
        layer()->setContents(nullptr);
    }
    _image.set(std::move(image));
}
