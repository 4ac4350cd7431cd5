#include "Host/Desktop/Control/ControlServer.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/ListeningSocket.h"
#include "Tests/Host/Desktop/Control/FakeTarget.h"
#include "Tests/Host/Desktop/Control/RawClient.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

constexpr const char *kOk = R"({"ok":true})";

class ControlServerTest : public ::testing::Test {
  protected:
    ControlServerTest() { begin(); }

    void begin() { _server.emplace(_waiter, _target, "headless", _folder.pathOf("lumivera")); }

    std::unique_ptr<RawClient> connect() const {
        auto client = std::make_unique<RawClient>(_server->socketPath());
        EXPECT_TRUE(client->isConnected());
        return client;
    }

    std::string folder() const { return _folder.pathOf("lumivera"); }

    TemporaryFolder _folder;
    DescriptorWaiter _waiter;
    FakeTarget _target;
    std::optional<ControlServer> _server;
};

std::string repeated(const std::string &text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

TEST_F(ControlServerTest, TellsTheStatus) {
    const auto answer = nlohmann::json::parse(connect()->ask(R"({"do":"status","id":"a"})"));
    EXPECT_EQ(answer["ok"], true);
    EXPECT_EQ(answer["id"], "a");
    EXPECT_EQ(answer["host"]["pid"], getpid());
    EXPECT_EQ(answer["host"]["desktop"], "headless");
    EXPECT_EQ(answer["host"]["version"], "0.1.0");
    EXPECT_EQ(answer["outputs"][0]["output"], "DP-1");
    EXPECT_EQ(answer["outputs"][0]["petals"], 120);
    EXPECT_EQ(answer["outputs"][0]["pauseReasons"], nlohmann::json::array());
}

TEST_F(ControlServerTest, ForgetsWhatAProgramHasToldWhenItIsGone) {
    auto shell = connect();
    const auto other = connect();
    EXPECT_EQ(shell->ask(R"({"do":"cover","output":"DP-1","state":"covered"})"), kOk);
    EXPECT_EQ(other->ask(R"({"do":"cover","state":"none"})"), kOk);
    EXPECT_EQ(_target.programs.size(), 2U);
    shell.reset();
    EXPECT_TRUE(serveUntil([&] { return _target.programs.size() == 1; }, 10));
    EXPECT_EQ(other->ask(R"({"do":"cover","state":"unknown"})"), kOk);
    EXPECT_EQ(_target.programs.size(), 1U);
}

TEST_F(ControlServerTest, DoesWhatItIsAskedFor) {
    const auto client = connect();
    for (const char *request :
         {R"({"do":"pause"})", R"({"do":"resume","output":"DP-1"})",
          R"({"do":"set","key":"petals","value":30})", R"({"do":"tap","x":1,"y":2})",
          R"({"do":"offset","x":-5})", R"({"do":"wallpaper","bundle":"Maple"})",
          R"({"do":"screenshot","file":"/x.png"})", R"({"do":"keep"})", R"({"do":"quit"})"}) {
        EXPECT_EQ(client->ask(request), kOk) << request;
    }
    EXPECT_THAT(_target.heard, ElementsAre("pause ", "resume DP-1", "choose  petals=30", "tap 1 2",
                                           "choose  offset=-5", "choose  wallpaper=Maple",
                                           "screenshot /x.png", "keep", "quit"));
}

TEST_F(ControlServerTest, TellsWhatTheHostCannotDo) {
    EXPECT_EQ(connect()->ask(R"({"do":"pause","output":"X"})"),
              R"({"ok":false,"error":"X: is no output; use DP-1"})");
}

TEST_F(ControlServerTest, AnswersGarbageWithAnErrorAndGoesOn) {
    const auto client = connect();
    for (const std::string &garbage :
         {std::string("hello"), std::string(), std::string("\0\1\xff\xfe", 4),
          std::string("{\"do\":\"\xff\"}"), std::string(60'000, '[')}) {
        EXPECT_THAT(client->ask(garbage), HasSubstr(R"({"ok":false,"error":")"));
    }
    EXPECT_EQ(client->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, WaitsForTheRestOfALine) {
    const auto client = connect();
    for (const char c : std::string(R"({"do":"pause"})")) {
        client->send(std::string(1, c));
        NSRunLoop::mainRunLoop().runForSeconds(0.001);
    }
    EXPECT_THAT(_target.heard, IsEmpty());
    EXPECT_EQ(client->ask(""), kOk);
}

TEST_F(ControlServerTest, AnswersManyRequestsInTheirOrder) {
    const auto client = connect();
    std::string requests;
    for (int i = 0; i < 500; ++i) {
        requests += R"({"do":"pause","id":)" + std::to_string(i) + "}\n";
    }
    EXPECT_TRUE(client->sendAll(requests));
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(client->line(), R"({"ok":true,"id":)" + std::to_string(i) + "}");
    }
}

TEST_F(ControlServerTest, KeepsTheOrderWhenAnAnswerTakesTime) {
    _target.isSlow = true;
    const auto client = connect();
    EXPECT_TRUE(client->sendAll("{\"do\":\"screenshot\",\"file\":\"/x\",\"id\":1}\n"
                                "{\"do\":\"pause\",\"id\":2}\n"));
    EXPECT_TRUE(serveUntil([&] { return _target.pending != nullptr; }));
    EXPECT_THAT(_target.heard, ElementsAre("screenshot /x"));
    _target.pending("the disk is full");
    EXPECT_EQ(client->line(), R"({"ok":false,"id":1,"error":"the disk is full"})");
    EXPECT_EQ(client->line(), R"({"ok":true,"id":2})");
}

TEST_F(ControlServerTest, ForgetsAnAnswerForSomebodyWhoLeft) {
    _target.isSlow = true;
    {
        const auto client = connect();
        client->send("{\"do\":\"screenshot\",\"file\":\"/x\"}\n");
        EXPECT_TRUE(serveUntil([&] { return _target.pending != nullptr; }));
    }
    // Before it answers the next client, the server has seen that the first one left.
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
    _target.pending(std::nullopt);
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, TakesAnAnswerThatComesWhenItIsGone) {
    _target.isSlow = true;
    const auto client = connect();
    client->send("{\"do\":\"screenshot\",\"file\":\"/x\"}\n");
    EXPECT_TRUE(serveUntil([&] { return _target.pending != nullptr; }));
    _server.reset();
    _target.pending(std::nullopt);
    EXPECT_TRUE(client->isClosed());
}

TEST_F(ControlServerTest, AnswersALastLineWithoutAnEndAndCloses) {
    const auto client = connect();
    client->send(R"({"do":"pause"})");
    client->endInput();
    EXPECT_EQ(client->line(), kOk);
    EXPECT_TRUE(client->isClosed());
}

TEST_F(ControlServerTest, DoesWhatWasAskedBySomebodyWhoDidNotWait) {
    connect()->send(repeated("{\"do\":\"pause\"}\n", 100));
    EXPECT_TRUE(serveUntil([&] { return _target.heard.size() == 100; }, 10));
}

TEST_F(ControlServerTest, TellsAndDropsWhoSendsAMegabyteInOneLine) {
    const auto client = connect();
    const std::string megabyte(1 << 20, 'x');
    std::string_view left = megabyte;
    serveUntil([&] {
        const std::size_t sent = client->send(left);
        left.remove_prefix(sent);
        return left.empty() || (sent == 0 && errno == EPIPE);
    });
    EXPECT_EQ(client->line(), R"({"ok":false,"error":"a request is at most 65536 bytes long"})");
    EXPECT_TRUE(client->isClosed());
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, TakesTheLongestRequestThatMayBe) {
    const std::string request = R"({"do":"pause"})";
    const auto client = connect();
    EXPECT_TRUE(client->sendAll(
        request + std::string(ControlRequest::kMaxBytes - request.size(), ' ') + "\n"));
    EXPECT_EQ(client->line(), kOk);
}

TEST_F(ControlServerTest, ServesAnotherProgramInPlaceOfTheOneThatWasSilentForLongest) {
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t i = 0; i < ControlServer::kMaxPeers; ++i) {
        clients.push_back(connect());
        ASSERT_EQ(clients.back()->ask(R"({"do":"pause"})"), kOk);
    }
    ASSERT_EQ(clients[0]->ask(R"({"do":"pause"})"), kOk);
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
    EXPECT_EQ(clients[1]->line(),
              R"({"ok":false,"error":"another program needs this connection"})");
    EXPECT_TRUE(clients[1]->isClosed());
    EXPECT_EQ(clients[0]->ask(R"({"do":"pause"})"), kOk);
    EXPECT_EQ(clients[2]->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, IsNotLockedByProgramsThatSayNothing) {
    std::vector<std::unique_ptr<RawClient>> silent;
    for (std::size_t i = 0; i < 3 * ControlServer::kMaxPeers; ++i) {
        silent.push_back(connect());
        NSRunLoop::mainRunLoop().runForSeconds(0.001);
    }
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, IsNotLockedByProgramsThatDoNotRead) {
    _target.outputCount = 200;
    std::vector<std::unique_ptr<RawClient>> deaf;
    const std::string requests = repeated("{\"do\":\"status\"}\n", 100);
    for (std::size_t i = 0; i < ControlServer::kMaxPeers; ++i) {
        deaf.push_back(connect());
        deaf.back()->send(requests);
        NSRunLoop::mainRunLoop().runForSeconds(0.002);
    }
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, TurnsAwayMoreProgramsThanItTakesWhileAllWaitForAnswers) {
    _target.isSlow = true;
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t i = 0; i < ControlServer::kMaxPeers; ++i) {
        clients.push_back(connect());
        clients.back()->send("{\"do\":\"screenshot\",\"file\":\"/x.png\"}\n");
        ASSERT_TRUE(serveUntil([&] { return _target.heard.size() == i + 1; }));
    }
    for (int i = 0; i < 36; ++i) {
        const auto client = connect();
        ASSERT_EQ(client->line(), R"({"ok":false,"error":"too many programs are connected"})");
        ASSERT_TRUE(client->isClosed());
    }
    clients.pop_back();
    EXPECT_TRUE(serveUntil([&] { return connect()->ask(R"({"do":"pause"})") == kOk; }));
}

TEST_F(ControlServerTest, DoesNotWaitForSomebodyWhoDoesNotRead) {
    _target.outputCount = 200;
    const auto silent = connect();
    std::size_t sent = 0;
    const std::string requests = repeated("{\"do\":\"status\"}\n", 1000);
    for (int i = 0; i < 100; ++i) {
        sent += silent->send(requests);
        NSRunLoop::mainRunLoop().runForSeconds(0.001);
    }
    EXPECT_LT(_target.heard.size() * std::string("{\"do\":\"status\"}\n").size(), sent);
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
    EXPECT_LT(costOfIdling(), 0.1);
}

TEST_F(ControlServerTest, CostsNothingWhileNobodyAsks) {
    _target.isSlow = true;
    const auto quiet = connect();
    const auto half = connect();
    half->send("{\"do\"");
    const auto waiting = connect();
    waiting->send("{\"do\":\"screenshot\",\"file\":\"/x\"}\n");
    waiting->endInput();
    EXPECT_TRUE(serveUntil([&] { return _target.pending != nullptr; }));
    EXPECT_LT(costOfIdling(), 0.1);
    _target.pending(std::nullopt);
    EXPECT_EQ(waiting->line(), kOk);
}

TEST_F(ControlServerTest, WaitsWhenThereAreNoMoreDescriptors) {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    // The sanitizer needs descriptors when it first sees a kind of object in use.
    DeferredCall later([] {});
    later.callAfter(0);
    costOfIdling();
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
    const auto client = connect();
    const int next = dup(0);
    close(next);
    const rlimit none{static_cast<rlim_t>(next), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const double cost = costOfIdling();
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_LT(cost, 0.1);
    EXPECT_EQ(client->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, TurnsAwayOtherUsers) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    chmod(_folder.path().c_str(), 0755);
    chmod(folder().c_str(), 0755);
    chmod(_server->socketPath().c_str(), 0666);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
        char answer[256];
        const bool isOther = setgid(65534) == 0 && setuid(65534) == 0;
        const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
        const bool isConnected =
            isOther && ListeningSocket::connectTo(_server->socketPath(), descriptor);
        const ssize_t count = isConnected ? recv(descriptor, answer, sizeof answer, 0) : 0;
        _exit(count > 0 && write(ends[1], answer, static_cast<std::size_t>(count)) == count ? 0
                                                                                            : 1);
    }
    int status = -1;
    EXPECT_TRUE(serveUntil([&] { return waitpid(child, &status, WNOHANG) == child; }));
    EXPECT_EQ(status, 0);
    char answer[256] = {};
    EXPECT_GT(read(ends[0], answer, sizeof answer - 1), 0);
    EXPECT_STREQ(answer, "{\"ok\":false,\"error\":\"this host belongs to another user\"}\n");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ControlServerTest, LetsNobodyElseIntoItsFolder) {
    struct stat status;
    stat(folder().c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    stat(_server->socketPath().c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(ControlServerTest, SaysThatAnotherHostIsRunning) {
    try {
        const ControlServer second(_waiter, _target, "headless", folder());
        FAIL();
    } catch (const HostError &error) {
        EXPECT_THAT(error.what(), HasSubstr("/control: a host is running already; "));
    }
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, LeavesNoSocketBehind) {
    _server.reset();
    EXPECT_FALSE(fs::exists(ControlPlace::socketIn(folder())));
}

TEST_F(ControlServerTest, ReplacesASocketThatWasLeftBehind) {
    _server.reset();
    const int left = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_TRUE(ListeningSocket::bindTo(ControlPlace::socketIn(folder()), left));
    close(left);
    begin();
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
}

TEST_F(ControlServerTest, BeginsWhereAHostWasKilled) {
    _server.reset();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
        const ControlServer server(_waiter, _target, "headless", folder());
        _exit(write(ends[1], "x", 1) == 1 && pause() ? 0 : 1);
    }
    char byte;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    EXPECT_THROW(begin(), HostError);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    begin();
    EXPECT_EQ(connect()->ask(R"({"do":"pause"})"), kOk);
    close(ends[0]);
    close(ends[1]);
}

TEST(ControlPlace, IsInTheFolderForTheSession) {
    setenv("XDG_RUNTIME_DIR", "/r", 1);
    EXPECT_EQ(ControlPlace::standardFolder(), "/r/lumivera");
    unsetenv("XDG_RUNTIME_DIR");
    const std::string user = std::to_string(geteuid());
    EXPECT_THAT(ControlPlace::standardFolder(),
                ::testing::AnyOf("/run/user/" + user + "/lumivera", "/tmp/lumivera-" + user));
}

TEST(ControlPlace, IsInTheStateFolderWhereAnotherUserHasTakenItsName) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const TemporaryFolder folder;
    const std::string place = folder.makeFolder("lumivera-0");
    const EnvironmentVariable runtime("XDG_RUNTIME_DIR", nullptr);
    const EnvironmentVariable state("XDG_STATE_HOME", "/s");
    if (fs::is_directory("/run/user/0")) {
        GTEST_SKIP() << "needs a machine without /run/user/0";
    }
    EXPECT_EQ(ControlPlace::standardFolder(folder.path()), place);
    ASSERT_EQ(chown(place.c_str(), 65534, 65534), 0);
    EXPECT_EQ(ControlPlace::standardFolder(folder.path()), "/s/lumivera");
    fs::remove(place);
    EXPECT_EQ(ControlPlace::standardFolder(folder.path()), place);
    fs::create_directory_symlink("/", place);
    EXPECT_EQ(ControlPlace::standardFolder(folder.path()), "/s/lumivera");
}

TEST(ControlPlace, ClosesItsFolderToOthers) {
    const TemporaryFolder folder;
    const std::string place = folder.makeFolder("place");
    chmod(place.c_str(), 0777);
    EXPECT_FALSE(ControlPlace::isOurFolder(place));
    ControlPlace::makeFolder(place);
    EXPECT_TRUE(ControlPlace::isOurFolder(place));
}

TEST(ControlPlace, RefusesAFolderThatIsALink) {
    const TemporaryFolder folder;
    fs::create_directory_symlink(folder.makeFolder("real"), folder.pathOf("link"));
    EXPECT_THROW(ControlPlace::makeFolder(folder.pathOf("link")), HostError);
    EXPECT_FALSE(ControlPlace::isOurFolder(folder.pathOf("link")));
}

TEST(ControlPlace, RefusesAFolderOfSomebodyElse) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const TemporaryFolder folder;
    const std::string place = folder.makeFolder("place");
    ASSERT_EQ(chown(place.c_str(), 65534, 65534), 0);
    EXPECT_THROW(ControlPlace::makeFolder(place), HostError);
    EXPECT_FALSE(ControlPlace::isOurFolder(place));
}

TEST(ControlPlace, RefusesAFileAndAFolderThatCannotBe) {
    const TemporaryFolder folder;
    EXPECT_THROW(ControlPlace::makeFolder(folder.write("file", "")), HostError);
    EXPECT_THROW(ControlPlace::makeFolder(folder.pathOf("a/b")), HostError);
}

TEST(ControlPlace, NamesAPathThatIsTooLongForASocket) {
    EXPECT_THROW(ListeningSocket::connectTo("/" + std::string(200, 'x'), -1), HostError);
}

TEST(ControlClient, SaysThatNoHostIsRunning) {
    const TemporaryFolder folder;
    for (const std::string &place : {folder.pathOf("none"), folder.makeFolder("empty")}) {
        try {
            ControlClient::ask(place, "{}");
            FAIL();
        } catch (const HostError &error) {
            EXPECT_EQ(error.what(), place + "/control: no host is running; start one with "
                                            "`lumivera desktop`");
        }
    }
}

TEST_F(ControlServerTest, AnswersAControlClient) {
    std::string answer;
    std::thread asker([&] { answer = ControlClient::ask(folder(), R"({"do":"pause"})"); });
    EXPECT_TRUE(serveUntil([&] { return !_target.heard.empty(); }));
    asker.join();
    EXPECT_EQ(answer, kOk);
}

} // namespace
