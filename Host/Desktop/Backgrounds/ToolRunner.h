#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <functional>
#include <string>
#include <vector>

namespace Lumivera {

/// A command line, and the variables (NAME=VALUE) that its environment has besides our own.
struct ToolCall {
    std::vector<std::string> arguments;
    std::vector<std::string> variables = {};

    bool operator==(const ToolCall &) const = default;
};

/// How a tool has ended, and what it has printed on its standard output.
struct ToolResult {
    std::string output;

    /// One line that names the tool and says why it failed; empty when it succeeded.
    std::string problem;

    bool isGood() const { return problem.empty(); }
};

/// Runs small programs that read and change the settings of a desktop, one after another. Main
/// thread.
class ToolRunner {
  public:
    using Handler = std::function<void(const ToolResult &)>;

    virtual ~ToolRunner() = default;

    /// Makes the call after those that were asked for before, and never within this function. The
    /// handler is called in a call-out of the main run loop or within finish(), always once unless
    /// finish() fails or the runner is destroyed.
    virtual void run(ToolCall call, Handler handler) = 0;

    /// Waits for all calls, and for those that their handlers ask for. False when they take longer
    /// than that: the tool that runs is ended then, and all other calls are dropped.
    virtual bool finish(NSTimeInterval seconds) = 0;
};

} // namespace Lumivera
