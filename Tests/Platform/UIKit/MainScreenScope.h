#pragma once

#include "Platform/UIKit/UIScreen.h"

/// A main screen of a certain scale for as long as a test needs it; none for scale 0.
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
