#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"
#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

/// The real host in folders of the test's own, spoken to as its users do.
class DesktopProgramTest : public ::testing::Test {
  protected:
    void TearDown() override;

    /// Begins `lumivera desktop`. Without a display of the test's own there is none.
    void start(const std::vector<std::string> &arguments,
               const std::vector<std::string> &environment = {});
    void startHeadless(std::vector<std::string> arguments);

    /// Asks it to quit, or ends it with the signal; its exit status.
    int quit();
    int end(int signal);

    /// Its exit status, once it ends by itself.
    int waitForEnd();

    /// What `lumivera ctl` says, once the host listens.
    ProgramRun ctl(std::vector<std::string> arguments);

    /// Of the first output; an empty object without one.
    nlohmann::json status();

    /// Polls the status until the condition holds.
    bool statusBecomes(const std::function<bool(nlohmann::json output)> &condition,
                       double seconds = 60);

    /// What the first output shows; null for nothing.
    Retained<CGImage> picture();

    /// True when no thread of the host and of the processes that it has begun wakes for ten
    /// seconds, once what was under way has ended.
    bool usesNoProcessor() const;

    /// The processes that it has begun.
    std::vector<pid_t> children() const { return childrenOf(_process); }

    /// What it has printed on stderr so far.
    std::string log() const { return contentsOf(_folder.path() + "/log"); }

    pid_t process() const { return _process; }
    std::string folder() const { return _folder.path(); }

    TemporaryFolder _folder;

  private:
    std::vector<std::string> surroundings() const;
    long activity() const;

    pid_t _process = -1;
    int _pictureNumber = 0;
};
