#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/VirtualScreen.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

/// Runs the program on a virtual screen. Skips where a tool for that is missing.
class ProgramWindowTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// Starts the program in a temporary folder.
    void start(const std::vector<std::string> &arguments,
               const std::vector<std::string> &environment = {});

    /// The same with its stderr in a file of that name in the folder.
    void startWithErrors(const std::vector<std::string> &arguments, const std::string &name);

    /// Runs the program until it ends.
    ProgramRun runToEnd(const std::vector<std::string> &arguments) const;

    /// Waits for the window of that title; fails the test when there is none.
    void findWindow(const std::string &title);

    /// The same for a message of SDL, whose title xdotool does not read.
    void findMessage(const std::string &title);

    /// Ends the program with the signal, or waits until it ends by itself; its exit status.
    int end(int signal);
    int waitForEnd();

    void xdotool(const std::string &arguments) const { _screen->run("xdotool " + arguments); }
    void focus() const { xdotool("windowfocus --sync " + _window); }
    void press(const std::string &key) const { xdotool("key --window " + _window + " " + key); }
    void click(double x, double y) const;
    void resize(int width, int height) const;

    /// A screenshot of the window.
    Retained<CGImage> picture() const;

    const std::string &window() const { return _window; }
    pid_t process() const { return _process; }

    TemporaryFolder _folder;

  private:
    void findWindow(const std::string &title, const std::string &command);
    ProgramRun::Options optionsWith(const std::vector<std::string> &environment) const;

    std::optional<VirtualScreen> _screen;
    std::string _window;
    pid_t _process = -1;
};
