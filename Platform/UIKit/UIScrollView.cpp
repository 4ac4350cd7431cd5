#include "Platform/UIKit/UIScrollView.h"

Retained<UIScrollView> UIScrollView::initWithFrame(const CGRect &frame) {
    return makeRetained<UIScrollView>(frame);
}
