#pragma once

#include "Host/Desktop/Control/ControlService.h"
#include "Host/Desktop/DesktopHost.h"
#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <nlohmann/json.hpp>

#include <array>
#include <filesystem>
#include <optional>
#include <random>
#include <string>

inline std::size_t openDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto &entry :
         std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

/// A host to which everything happens that can, in an order that is random but repeatable. The test
/// makes its views.
class BusyHostTest : public SimulatedTimeTest {
  protected:
    BusyHostTest() {
        _options.shippedBundle = "/shipped";
        _options.lastGoodPath = _folder.path() + "/last-good";
        _options.log = [this](const std::string &) { ++_lines; };
    }

    void TearDown() override {
        end();
        SimulatedTimeTest::TearDown();
    }

    void begin() {
        _desktop.emplace();
        _desktop->addOutput("OUT-0", {64, 40, 1});
        _host.emplace(*_desktop, _options, Lumivera::Configuration());
        _service.emplace(*_host, "headless");
    }

    void end() {
        _service.reset();
        _host.reset();
        _desktop.reset();
    }

    unsigned random(unsigned below) {
        return std::uniform_int_distribution<unsigned>(0, below - 1)(_random);
    }

    std::string anyOutput() { return "OUT-" + std::to_string(random(3)); }

    template <std::size_t Count> const char *anyOf(const std::array<const char *, Count> &choices) {
        return choices[random(Count)];
    }

    /// Sends a request and expects an answer, whether it makes sense or not.
    void ask(nlohmann::json request) {
        if (random(2) == 0) {
            request["output"] = anyOutput();
        }
        int answers = 0;
        _service->execute(0, Lumivera::ControlRequest::parse(request.dump()),
                          [&](const std::string &answer) {
                              ++answers;
                              EXPECT_TRUE(nlohmann::json::parse(answer).contains("ok"));
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
        Lumivera::HeadlessSurface *surface = _desktop->surface(name);
        if (!surface) {
            _desktop->addOutput(name, {64, 40, 1});
            return;
        }
        switch (random(4)) {
        case 0:
            return _desktop->removeOutput(name);
        case 1:
            return surface->setGeometry({32 + random(64), 20 + random(64), 1.0 + random(2)});
        default:
            return surface->setVisibility(static_cast<Lumivera::SurfaceVisibility>(random(4)));
        }
    }

    void changeSession() {
        Lumivera::SessionState session;
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
        _host->setConfiguration(Lumivera::Configuration::parse(anyOf(texts), "test.toml"));
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

    static constexpr std::array<const char *, 7> kBundles{"/a",     "/b",        "/slow", "/ends",
                                                          "/hangs", "/hopeless", "/still"};
    static constexpr std::array<const char *, 4> kTints{"red", "none", "default", "#1234"};

    TemporaryFolder _folder;
    std::optional<Lumivera::HeadlessDesktop> _desktop;
    Lumivera::DesktopHost::Options _options;
    std::optional<Lumivera::DesktopHost> _host;
    std::optional<Lumivera::ControlService> _service;
    std::mt19937 _random{20};
    int _lines = 0;
};
