#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"
#include "Tests/Host/Programs/VirtualScreen.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// A private X server, and programs on it.
class X11ScreenTest : public ::testing::Test {
  protected:
    void TearDown() override { screen.reset(); }

    void startScreen(const std::string &size = "800x600x24",
                     const std::vector<std::string> &options = {});
    pid_t startWindowManager();
    void startCompositingManager();

    /// Opens a window of that title and place; its id for xdotool.
    std::string openWindow(const std::string &title, const std::string &geometry,
                           const std::vector<std::string> &more = {});
    void xdotool(const std::string &arguments) { screen->run("xdotool " + arguments); }

    /// A screenshot of the whole screen.
    Retained<CGImage> picture();
    std::uint32_t pixel(int x, int y);

    /// Serves events until the condition holds; false when it does not in time.
    static bool served(const std::function<bool()> &condition);

    std::optional<VirtualScreen> screen;

  private:
    TemporaryFolder _folder;
};
