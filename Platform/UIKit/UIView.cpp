#include "Platform/UIKit/UIView.h"

#include <algorithm>

namespace {

/// Resizes a view along one axis: the difference in the superview's length is divided equally among
/// those of the margin before, the length and the margin after that are flexible.
void followAlongAxis(CGFloat difference, bool before, bool length, bool after, CGFloat &origin,
                     CGFloat &extent) {
    const int shares = int{before} + int{length} + int{after};
    if (shares == 0 || difference == 0) {
        return;
    }
    const CGFloat share = difference / shares;
    origin += before ? share : 0;
    extent += length ? share : 0;
}

ContentsGravity gravityFor(UIViewContentMode mode) {
    switch (mode) {
    case UIViewContentModeScaleAspectFit:
        return ContentsGravity::ResizeAspect;
    case UIViewContentModeScaleAspectFill:
        return ContentsGravity::ResizeAspectFill;
    case UIViewContentModeCenter:
        return ContentsGravity::Center;
    case UIViewContentModeScaleToFill:
        break;
    }
    return ContentsGravity::Resize;
}

UIView::AnimationStopHandler animationStopHandler = nullptr;

} // namespace

Retained<UIView> UIView::initWithFrame(const CGRect &frame) { return makeRetained<UIView>(frame); }

UIView::UIView(const CGRect &frame) : _layer(makeRetained<CALayer>()) { _layer->setFrame(frame); }

UIView::~UIView() {
    while (!_subviews.empty()) {
        const Retained<UIView> subview = std::move(_subviews.back());
        _subviews.pop_back();
        subview->_superview.set(nullptr);
        subview->_layer->removeFromSuperlayer();
    }
}

void UIView::setBounds(const CGRect &bounds) {
    const TreeAccess access;
    const CGSize oldSize = this->bounds().size;
    _layer->setBounds(bounds);
    resizeSubviews(oldSize, this->bounds().size);
}

void UIView::setFrame(const CGRect &frame) {
    const TreeAccess access;
    const CGSize oldSize = bounds().size;
    _layer->setFrame(frame);
    resizeSubviews(oldSize, bounds().size);
}

void UIView::setBackgroundColor(const UIColor *color) {
    _layer->setBackgroundColor(color ? color->color() : CGColor{0, 0, 0, 0});
}

void UIView::setContentMode(UIViewContentMode mode) {
    const TreeAccess access;
    _contentMode.set(mode);
    _layer->setContentsGravity(gravityFor(mode));
}

void UIView::addSubview(UIView *view) {
    const TreeAccess access;
    if (!view || isInside(view)) {
        return;
    }
    Retained<UIView> kept(view);
    view->detachFromSuperview();
    view->_superview.set(this);
    _layer->addSublayer(view->layer());
    _subviews.push_back(std::move(kept));
}

void UIView::removeFromSuperview() { detachFromSuperview(); }

/// Removes the view without calling removeFromSuperview(), which subclasses override.
void UIView::detachFromSuperview() {
    Retained<UIView> alive;
    const TreeAccess access;
    UIView *superview = _superview.get();
    if (!superview) {
        return;
    }
    _superview.set(nullptr);
    _layer->removeFromSuperlayer();
    auto &siblings = superview->_subviews;
    const auto entry = std::find(siblings.rbegin(), siblings.rend(), this);
    alive = std::move(*entry);
    siblings.erase(std::next(entry).base());
}

void UIView::animationDidStop_finished(CAAnimation *animation, bool finished) {
    if (animationStopHandler) {
        animationStopHandler(this, animation, finished);
    }
}

void UIView::setAnimationStopHandler(AnimationStopHandler handler) {
    animationStopHandler = handler;
}

bool UIView::isInside(const UIView *other) const {
    for (const UIView *view = this; view; view = view->superview()) {
        if (view == other) {
            return true;
        }
    }
    return false;
}

void UIView::resizeSubviews(CGSize oldSize, CGSize newSize) {
    if (oldSize == newSize) {
        return;
    }
    for (NSUInteger i = 0; i < _subviews.size(); ++i) {
        const Retained<UIView> subview = _subviews[i];
        subview->followSuperview(newSize.width - oldSize.width, newSize.height - oldSize.height);
    }
}

void UIView::followSuperview(CGFloat widthDifference, CGFloat heightDifference) {
    const NSUInteger mask = autoresizingMask();
    const auto has = [mask](NSUInteger flag) { return (mask & flag) != 0; };
    CGRect rect = frame();
    followAlongAxis(widthDifference, has(UIViewAutoresizingFlexibleLeftMargin),
                    has(UIViewAutoresizingFlexibleWidth),
                    has(UIViewAutoresizingFlexibleRightMargin), rect.origin.x, rect.size.width);
    followAlongAxis(heightDifference, has(UIViewAutoresizingFlexibleTopMargin),
                    has(UIViewAutoresizingFlexibleHeight),
                    has(UIViewAutoresizingFlexibleBottomMargin), rect.origin.y, rect.size.height);
    if (!(rect == frame())) {
        setFrame(rect);
    }
}
