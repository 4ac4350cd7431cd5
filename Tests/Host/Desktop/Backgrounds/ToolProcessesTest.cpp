#include "Host/Desktop/Backgrounds/ToolProcesses.h"
#include "Tests/Host/Support/ProcessHolder.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <fstream>

using namespace Lumivera;
using ::testing::ElementsAre;

namespace {

class ToolProcessesTest : public ::testing::Test {
  protected:
    void run(ToolRunner &tools, std::vector<std::string> arguments,
             std::vector<std::string> variables = {}) {
        tools.run({std::move(arguments), std::move(variables)}, [this](const ToolResult &result) {
            _outputs.push_back(result.output);
            _problems.push_back(result.problem);
        });
    }

    bool serveUntilEnded(std::size_t count) {
        return serveUntil([&] { return _outputs.size() == count; });
    }

    TemporaryFolder _folder;
    DescriptorWaiter _waiter;
    std::vector<std::string> _outputs;
    std::vector<std::string> _problems;
};

TEST_F(ToolProcessesTest, GiveWhatAToolPrints) {
    ToolProcesses tools(_waiter);
    run(tools, {"printf", "a b\\nc"});
    EXPECT_TRUE(_outputs.empty());
    ASSERT_TRUE(serveUntilEnded(1));
    EXPECT_THAT(_outputs, ElementsAre("a b\nc"));
    EXPECT_THAT(_problems, ElementsAre(""));
}

TEST_F(ToolProcessesTest, RunToolsInTheirOrderAndThoseOfHandlersAfterThem) {
    ToolProcesses tools(_waiter);
    tools.run({{"sh", "-c", "sleep 0.1; echo 1"}, {}}, [&](const ToolResult &result) {
        _outputs.push_back(result.output);
        run(tools, {"echo", "3"});
    });
    run(tools, {"echo", "2"});
    ASSERT_TRUE(serveUntilEnded(3));
    EXPECT_THAT(_outputs, ElementsAre("1\n", "2\n", "3\n"));
}

TEST_F(ToolProcessesTest, SayWhyAToolFailed) {
    ToolProcesses tools(_waiter);
    run(tools, {"lumivera-no-such-tool"});
    run(tools, {"sh", "-c", "echo one >&2; echo two >&2; exit 3"});
    run(tools, {"false"});
    ASSERT_TRUE(serveUntilEnded(3));
    EXPECT_THAT(_problems, ElementsAre("lumivera-no-such-tool: is not installed", "sh: two",
                                       "false: failed without saying why"));
}

TEST_F(ToolProcessesTest, GiveArgumentsAsTheyAre) {
    ToolProcesses tools(_waiter);
    run(tools, {"printf", "%s|", "$HOME", "a'b\"c", "é *", ""});
    ASSERT_TRUE(serveUntilEnded(1));
    EXPECT_EQ(_outputs[0], "$HOME|a'b\"c|é *||");
}

TEST_F(ToolProcessesTest, SetVariablesInTheEnvironment) {
    ToolProcesses tools(_waiter);
    run(tools, {"sh", "-c", "echo $HOME $LC_ALL"}, {"HOME=/here"});
    ASSERT_TRUE(serveUntilEnded(1));
    EXPECT_EQ(_outputs[0], "/here C.UTF-8\n");
}

TEST_F(ToolProcessesTest, KillAToolThatHangs) {
    ToolProcesses tools(_waiter, 0.2);
    run(tools, {"sleep", "1000"});
    run(tools, {"echo", "next"});
    ASSERT_TRUE(serveUntilEnded(2));
    EXPECT_THAT(_problems, ElementsAre("sleep: did not end within 0.2 s", ""));
}

TEST_F(ToolProcessesTest, DoNotWaitForAProcessThatAToolLeavesBehind) {
    ToolProcesses tools(_waiter);
    run(tools, {"sh", "-c", "sleep 3 & echo done"});
    ASSERT_TRUE(serveUntilEnded(1));
    EXPECT_THAT(_outputs, ElementsAre("done\n"));
}

TEST_F(ToolProcessesTest, FinishWithoutTheRunLoop) {
    ToolProcesses tools(_waiter);
    tools.run({{"echo", "1"}, {}}, [&](const ToolResult &result) {
        _outputs.push_back(result.output);
        run(tools, {"echo", "2"});
    });
    run(tools, {"lumivera-no-such-tool"});
    EXPECT_TRUE(tools.finish(60));
    EXPECT_THAT(_outputs, ElementsAre("1\n", "", "2\n"));
    EXPECT_TRUE(tools.finish(0));
}

TEST_F(ToolProcessesTest, FinishNoLaterThanTheLimit) {
    ToolProcesses tools(_waiter, 1000);
    run(tools, {"sleep", "1000"});
    run(tools, {"echo", "2"});
    EXPECT_FALSE(tools.finish(0.2));
    EXPECT_TRUE(_outputs.empty());
    run(tools, {"echo", "3"});
    ASSERT_TRUE(serveUntilEnded(1));
    EXPECT_THAT(_outputs, ElementsAre("3\n"));
}

TEST_F(ToolProcessesTest, DoNotWaitForAToolThatCannotEnd) {
    constexpr double kSoon = 1;
    ToolProcesses tools(_waiter, kSoon);
    const std::string path = _folder.pathOf("process");
    run(tools, {"sh", "-c", "echo $$ > " + path + "; exec sleep 1000"});
    int process = 0;
    ASSERT_TRUE(serveUntil([&] { return std::ifstream(path) >> process && process > 0; }));
    const ProcessHolder holder(process);
    if (!holder.holds()) {
        GTEST_SKIP() << "no process may trace another here";
    }
    run(tools, {"echo", "2"});
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(serveUntilEnded(2));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(_outputs[1], "2\n");
}

TEST_F(ToolProcessesTest, KillTheToolThatRunsWhenTheyEnd) {
    int process = 0;
    {
        ToolProcesses tools(_waiter, 1000);
        run(tools, {"sh", "-c", "echo $$"});
        tools.run({{"sleep", "1000"}, {}}, [](const ToolResult &) { FAIL(); });
        ASSERT_TRUE(serveUntilEnded(1));
        process = std::stoi(_outputs[0]);
    }
    EXPECT_NE(kill(process, 0), 0);
}

} // namespace
