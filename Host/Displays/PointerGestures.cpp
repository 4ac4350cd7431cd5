#include "Host/Displays/PointerGestures.h"

#include <cmath>
#include <utility>

namespace Lumivera {

void PointerGestures::pressed(CGPoint point) {
    _isPressed = true;
    _isDragging = false;
    _start = point;
    _last = point;
}

void PointerGestures::moved(CGPoint point, PointerListener &listener) {
    if (!_isPressed) {
        return;
    }
    const CGFloat distance = std::hypot(point.x - _start.x, point.y - _start.y);
    _isDragging = _isDragging || distance > kTapSlack;
    if (!_isDragging) {
        return;
    }
    const CGPoint last = std::exchange(_last, point);
    if (point.x != last.x) {
        listener.scrolledBy(point.x - last.x);
    }
    if (point.y != last.y) {
        listener.scrolledDownBy(point.y - last.y);
    }
}

void PointerGestures::released(CGPoint point, PointerListener &listener) {
    if (!_isPressed) {
        return;
    }
    moved(point, listener);
    _isPressed = false;
    if (_isDragging) {
        listener.scrollingEnded();
    } else {
        listener.tapped(_start);
    }
}

void PointerGestures::cancelled(PointerListener &listener) {
    if (std::exchange(_isPressed, false) && _isDragging) {
        listener.scrollingEnded();
    }
}

} // namespace Lumivera
