#pragma once

#include "Platform/UIKit/UIScreen.h"

/// Sets a main screen of that scale for a scope; no screen for scale 0.
class MainScreenScope {
  public:
    explicit MainScreenScope(CGFloat scale) {
        UIScreen::setMainScreen(
            scale > 0 ? makeRetained<UIScreen>(CGRectMake(0, 0, 320, 480), scale) : nullptr);
    }
    ~MainScreenScope() { UIScreen::setMainScreen(nullptr); }
    MainScreenScope(const MainScreenScope &) = delete;
    MainScreenScope &operator=(const MainScreenScope &) = delete;
};
