#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"
#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <map>
#include <string>
#include <vector>

/// Runs the real host in temporary folders and talks to it as users do.
class DesktopProgramTest : public ::testing::Test {
  protected:
    void TearDown() override;

    /// Starts `lumivera desktop`. It has no display unless the environment names one.
    void start(const std::vector<std::string> &arguments,
               const std::vector<std::string> &environment = {});
    void startHeadless(std::vector<std::string> arguments);

    /// The same with another stderr, which is not owned.
    void startWithLog(const std::vector<std::string> &arguments, int log);

    /// Asks the host to quit, or ends it with the signal; returns its exit status.
    int quit();
    int end(int signal);

    /// Waits until the host ends by itself; returns its exit status.
    int waitForEnd();

    /// Runs `lumivera ctl` as soon as the host listens.
    ProgramRun ctl(std::vector<std::string> arguments);

    /// The status of the first output; an empty object without one.
    nlohmann::json status();

    /// Polls the status until the condition holds.
    bool statusBecomes(const std::function<bool(nlohmann::json output)> &condition,
                       double seconds = 60);

    /// A picture of what the first output shows; null when it shows nothing.
    Retained<CGImage> picture();

    /// Waits until what was under way has ended. True when no thread of the host and of its child
    /// processes then wakes for ten seconds.
    ::testing::AssertionResult usesNoProcessor() const;

    /// The host's child processes.
    std::vector<pid_t> children() const { return childrenOf(_process); }

    /// What the host has written to stderr so far.
    std::string log() const { return contentsOf(_folder.path() + "/log"); }

    /// The environment of everything that is started here.
    std::vector<std::string> surroundings() const;

    pid_t process() const { return _process; }
    std::string folder() const { return _folder.path(); }

    TemporaryFolder _folder;

  private:
    std::map<std::string, long> activities() const;

    pid_t _process = -1;
    int _pictureNumber = 0;
};
