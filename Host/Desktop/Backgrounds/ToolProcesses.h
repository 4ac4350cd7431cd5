#pragma once

#include "Host/Desktop/Backgrounds/ToolRunner.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

#include <deque>

namespace Lumivera {

/// Runs the tools as processes, with their messages in English and every text in UTF-8. The main
/// run loop never waits for them. Main thread.
class ToolProcesses final : public ToolRunner, private DescriptorSource {
  public:
    /// A tool that runs for longer than this is killed, with all the processes that it started.
    static constexpr NSTimeInterval kLongestRun = 5;

    /// The waiter is not owned.
    explicit ToolProcesses(DescriptorWatch &waiter, NSTimeInterval longestRun = kLongestRun);

    /// Kills the tool that runs.
    ~ToolProcesses() override;

    ToolProcesses(const ToolProcesses &) = delete;
    ToolProcesses &operator=(const ToolProcesses &) = delete;

    void run(ToolCall call, Handler handler) override;
    bool finish(NSTimeInterval seconds) override;

  private:
    struct Request {
        ToolCall call;
        Handler handler;
    };

    int descriptor() const override { return _processDescriptor; }
    void serve() override { endTool(); }
    bool isRunning() const { return _process > 0; }
    void startNext();
    std::string start(const ToolCall &call);
    void endTool();
    void killTool();
    ToolResult takeResult();
    void closeFiles();
    void report(const ToolResult &result);

    DescriptorWatch &_waiter;
    const NSTimeInterval _longestRun;
    std::deque<Request> _requests;
    DeferredCall _start;
    DeferredCall _deadline;
    int _process = -1;
    int _processDescriptor = -1;
    int _output = -1;
    int _errors = -1;
    bool _isLate = false;
};

} // namespace Lumivera
