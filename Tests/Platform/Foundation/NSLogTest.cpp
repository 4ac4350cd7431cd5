#include "Platform/Foundation/NSLog.h"

#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

/// Makes stderr a pseudo-terminal that the test reads.
class TerminalAsStderr {
  public:
    TerminalAsStderr() : _master(posix_openpt(O_RDWR | O_NOCTTY)), _saved(dup(STDERR_FILENO)) {
        if (_master < 0 || grantpt(_master) != 0 || unlockpt(_master) != 0) {
            return;
        }
        const int terminal = open(ptsname(_master), O_RDWR | O_NOCTTY);
        termios raw{};
        tcgetattr(terminal, &raw);
        cfmakeraw(&raw);
        tcsetattr(terminal, TCSANOW, &raw);
        isOpen = dup2(terminal, STDERR_FILENO) >= 0;
        close(terminal);
    }

    ~TerminalAsStderr() {
        dup2(_saved, STDERR_FILENO);
        close(_saved);
        close(_master);
    }

    /// The next line that was written, with its end.
    std::string line() const {
        std::string text;
        char byte = 0;
        while (byte != '\n' && read(_master, &byte, 1) == 1) {
            text += byte;
        }
        return text;
    }

    bool isOpen = false;

  private:
    int _master;
    int _saved;
};

} // namespace

TEST(NSLog, SendsEveryLineToTheSink) {
    const LogRecorder log;
    NSLog("first");
    NSLog("");
    NSLog(std::string_view("with\0zero", 9));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"first", "", std::string("with\0zero", 9)}));
}

TEST(NSLog, LeavesASinkAloneThatWasTakenAway) {
    int lines = 0;
    NSLogSetSink([&](std::string_view) { ++lines; });
    NSLog("one");
    NSLogSetSink(nullptr);
    NSLog("Written by a test of the log.");
    EXPECT_EQ(lines, 1);
}

TEST(NSLog, TakesLinesFromManyThreads) {
    const LogRecorder log;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int turn = 0; turn < 100; ++turn) {
                NSLog("line");
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(log.lines().size(), 400u);
}

TEST(NSLog, ShowsALineOnATerminal) {
    const TerminalAsStderr terminal;
    ASSERT_TRUE(terminal.isOpen);
    NSLog("A line of a test, with é.");
    EXPECT_EQ(terminal.line(), "A line of a test, with é.\n");
}

TEST(NSLog, ShowsPercentSignsAsTheyAre) {
    const TerminalAsStderr terminal;
    ASSERT_TRUE(terminal.isOpen);
    NSLog("100%s and 5%d%n");
    EXPECT_EQ(terminal.line(), "100%s and 5%d%n\n");
}

TEST(NSLog, EscapesControlCharactersOnATerminal) {
    const TerminalAsStderr terminal;
    ASSERT_TRUE(terminal.isOpen);
    NSLog("a\x1b[2Jb\nc\x7f"
          "d\xc2\x9b"
          "2Je\xc2\xa0"
          "f\xc2");
    EXPECT_EQ(terminal.line(), "a\\x1b[2Jb\\nc\\x7fd\\x9b2Je\xc2\xa0"
                               "f\\xc2\n");
}

TEST(NSLog, WritesNothingToAStderrThatIsNoTerminal) {
    testing::internal::CaptureStderr();
    NSLog("Written by a test of the log.");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
