#pragma once

#include "Animation/DeskTopView/FallingSakuraView/Sakura.h"

/// Access to a petal's private motion.
class SakuraProbe {
  public:
    explicit SakuraProbe(Sakura &petal) : _petal(petal) {}

    CppVector2D &originSpeed() { return _petal._originSpeed; }
    CppVector2D &changedSpeed() { return _petal._changedSpeed; }
    CppVector2D &deacceleration() { return _petal._deacceleration; }
    CGFloat &angleStep() { return _petal._angleStep; }
    CGFloat &xOffset() { return _petal._xOffset; }
    bool &isXOffset() { return _petal._isXOffset; }

  private:
    Sakura &_petal;
};
