#include "Host/Desktop/Control/ControlService.h"
#include "Host/Desktop/DesktopHost.h"
#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Tests/Host/Desktop/FakeViews.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <array>
#include <filesystem>
#include <random>

using namespace Lumivera;
using nlohmann::json;

namespace {

constexpr double kTwoHours = 7200;
constexpr double kCalm = 40;

std::size_t openDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto &entry :
         std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

/// Everything that can happen to a host in two hours of use, in an order that is random but
/// repeatable.
class DesktopSoakTest : public SimulatedTimeTest {
  protected:
    DesktopSoakTest() {
        _options.makeView = _views.maker();
        _options.shippedBundle = "/shipped";
        _options.lastGoodPath = _folder.path() + "/last-good";
        _options.log = [this](const std::string &) { ++_lines; };
        _views.behaviours["/slow"].firstPicture = 4;
        _views.behaviours["/ends"].end = 7;
        _views.behaviours["/hangs"] = {1000, 5, false, 30};
        _views.behaviours["/hopeless"] = {1000, 0.05, true, 30};
        _views.behaviours["/still"].petals.reset();
    }

    void TearDown() override {
        _service.reset();
        _host.reset();
        SimulatedTimeTest::TearDown();
    }

    void begin() {
        _desktop.addOutput("OUT-0", {64, 40, 1});
        _host.emplace(_desktop, _options, Configuration());
        _service.emplace(*_host, "headless");
    }

    unsigned random(unsigned below) {
        return std::uniform_int_distribution<unsigned>(0, below - 1)(_random);
    }

    std::string anyOutput() { return "OUT-" + std::to_string(random(3)); }

    template <std::size_t Count> const char *anyOf(const std::array<const char *, Count> &choices) {
        return choices[random(Count)];
    }

    /// Sends a request and expects an answer, whether it makes sense or not.
    void ask(json request) {
        if (random(2) == 0) {
            request["output"] = anyOutput();
        }
        int answers = 0;
        _service->execute(0, ControlRequest::parse(request.dump()), [&](const std::string &answer) {
            ++answers;
            EXPECT_TRUE(json::parse(answer).contains("ok"));
        });
        runUntil([&] { return answers > 0; }, 2);
        EXPECT_EQ(answers, 1) << request;
    }

    void askAnything() {
        switch (random(9)) {
        case 0:
            return ask({{"do", "status"}});
        case 1:
            return ask({{"do", "pause"}});
        case 2:
            return ask({{"do", "resume"}});
        case 3:
            return ask({{"do", "set"}, {"key", "petals"}, {"value", random(200)}});
        case 4:
            return ask({{"do", "set"}, {"key", "tint"}, {"value", anyOf(kTints)}});
        case 5:
            return ask({{"do", "tap"}, {"x", random(64)}, {"y", random(40)}});
        case 6:
            return ask({{"do", "offset"}, {"x", random(50)}});
        case 7:
            return ask({{"do", "wallpaper"}, {"bundle", anyOf(kBundles)}});
        default:
            return ask({{"do", "screenshot"}, {"file", _folder.path() + "/shot.png"}});
        }
    }

    void changeOutputs() {
        const std::string name = anyOutput();
        HeadlessSurface *surface = _desktop.surface(name);
        if (!surface) {
            _desktop.addOutput(name, {64, 40, 1});
            return;
        }
        switch (random(4)) {
        case 0:
            return _desktop.removeOutput(name);
        case 1:
            return surface->setGeometry({32 + random(64), 20 + random(64), 1.0 + random(2)});
        default:
            return surface->setVisibility(static_cast<SurfaceVisibility>(random(4)));
        }
    }

    void changeSession() {
        SessionState session;
        session.isLocked = random(4) == 0;
        session.isIdle = random(4) == 0;
        session.isAsleep = random(8) == 0;
        session.isOnBattery = random(2) == 0;
        _host->setSession(session);
    }

    void configure() {
        static constexpr std::array<const char *, 4> texts{
            "", "petals = 40\n[output.OUT-1]\nwallpaper = \"/a\"\n", "on-battery = \"slow\"\n",
            "wallpaper = \"/ends\"\non-battery = \"pause\"\n"};
        _host->setConfiguration(Configuration::parse(anyOf(texts), "test.toml"));
    }

    void happen() {
        const unsigned kind = random(10);
        if (kind < 5) {
            askAnything();
        } else if (kind < 8) {
            changeOutputs();
        } else if (kind < 9) {
            changeSession();
        } else {
            configure();
        }
    }

    /// Undoes everything that pauses the wallpaper, chooses a harmless bundle and waits until it is
    /// shown.
    void calmDown() {
        _host->setConfiguration({});
        _host->setSession({});
        _host->setPaused("", false);
        WallpaperChoice choice;
        choice.bundle = "/calm";
        _host->choose("", choice);
        for (const OutputStatus &output : _host->status("")) {
            _desktop.surface(output.output)->setVisibility(SurfaceVisibility::Visible);
        }
        runForSeconds(kCalm);
    }

    void expectEverythingInOrder() {
        const auto outputs = _host->status("");
        EXPECT_EQ(_views.views().size(), outputs.size()) << "one view an output";
        for (const OutputStatus &output : outputs) {
            EXPECT_EQ(output.bundle, "/calm");
            EXPECT_EQ(output.failedBundle, "");
            EXPECT_NEAR(output.framesPerSecond, 40, 1) << output.output;
            const SharedBuffers *memory = _desktop.surface(output.output)->memory();
            ASSERT_TRUE(memory);
            EXPECT_EQ(memory->width(), output.width);
            EXPECT_EQ(memory->height(), output.height);
        }
        EXPECT_LE(openDescriptors(), _descriptors + 2 * outputs.size());
    }

    static constexpr std::array<const char *, 7> kBundles{"/a",     "/b",        "/slow", "/ends",
                                                          "/hangs", "/hopeless", "/still"};
    static constexpr std::array<const char *, 4> kTints{"red", "none", "default", "#1234"};

    TemporaryFolder _folder;
    FakeViews _views;
    HeadlessDesktop _desktop;
    DesktopHost::Options _options;
    std::optional<DesktopHost> _host;
    std::optional<ControlService> _service;
    std::mt19937 _random{20};
    const std::size_t _descriptors = openDescriptors();
    int _lines = 0;
};

TEST_F(DesktopSoakTest, IsInOrderAfterEveryQuarterOfTwoHours) {
    begin();
    for (int quarter = 1; quarter <= 8; ++quarter) {
        while (elapsed() < kTwoHours * quarter / 8 - kCalm) {
            happen();
            runForSeconds(random(300) / 100.0);
        }
        calmDown();
        expectEverythingInOrder();
    }
    EXPECT_GT(_views.made().size(), 500U) << "much has happened";
    EXPECT_GT(_lines, 50) << "views ended";
}

} // namespace
