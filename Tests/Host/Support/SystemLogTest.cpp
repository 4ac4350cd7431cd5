#include "Host/Support/SystemLog.h"

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::EndsWith;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

namespace {

/// The system's end of a log.
class Journal {
  public:
    explicit Journal(const std::string &path) : _path(path) {
        unlink(path.c_str());
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    ~Journal() { close(_socket); }
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    /// The next line; empty when there is none.
    std::string line() const {
        char text[8192];
        const ssize_t count = recv(_socket, text, sizeof text, MSG_DONTWAIT);
        return count > 0 ? std::string(text, static_cast<std::size_t>(count)) : "";
    }

  private:
    const std::string _path;
    const int _socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

class SystemLogTest : public ::testing::Test {
  protected:
    TemporaryFolder _folder;
    const std::string _path = _folder.pathOf("log");
};

TEST_F(SystemLogTest, GetsLinesAsOfAnyProgram) {
    const Journal journal(_path);
    SystemLog log(_path);
    log.write("one");
    log.write("two");
    EXPECT_THAT(journal.line(), MatchesRegex("<14>[A-Z][a-z][a-z] [ 1-3][0-9] "
                                             "[0-9:]+ lumivera.[0-9]+.: one"));
    EXPECT_THAT(journal.line(), EndsWith(": two"));
    EXPECT_EQ(journal.line(), "");
}

TEST_F(SystemLogTest, IsNotWaitedForWhenItTakesNothing) {
    const Journal journal(_path);
    SystemLog log(_path);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10'000; ++i) {
        log.write(std::string(1000, 'x'));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    int lines = 0;
    while (!journal.line().empty()) {
        ++lines;
    }
    EXPECT_GT(lines, 0);
    EXPECT_LT(lines, 10'000);
    log.write("later");
    EXPECT_THAT(journal.line(), EndsWith(": later"));
}

TEST_F(SystemLogTest, IsFoundAgainWhenItWasStartedAgain) {
    std::optional<Journal> journal(std::in_place, _path);
    SystemLog log(_path);
    log.write("one");
    journal.reset();
    log.write("lost");
    journal.emplace(_path);
    log.write("two");
    EXPECT_THAT(journal->line(), EndsWith(": two"));
}

TEST_F(SystemLogTest, MayBeMissingAndCutsLongLines) {
    SystemLog log(_path);
    log.write("lost");
    const Journal journal(_path);
    log.write(std::string(100'000, 'x'));
    EXPECT_THAT(journal.line(), SizeIs(testing::Lt(SystemLog::kMaxBytes + 100)));
}

} // namespace
