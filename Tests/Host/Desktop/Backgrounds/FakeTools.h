#pragma once

#include "Host/Desktop/Backgrounds/DesktopProgram.h"
#include "Host/Desktop/Backgrounds/ToolRunner.h"
#include "Host/Support/HostError.h"

#include <deque>
#include <functional>

/// Answers calls when the test says so.
class FakeTools final : public Lumivera::ToolRunner {
  public:
    using Answer = std::function<Lumivera::ToolResult(const Lumivera::ToolCall &)>;

    explicit FakeTools(Answer answer) : _answer(std::move(answer)) {}

    void run(Lumivera::ToolCall call, Handler handler) override {
        calls.push_back(call);
        _requests.push_back({std::move(call), std::move(handler)});
    }

    bool finish(double seconds) override {
        if (isHanging || (seconds <= 0 && !_requests.empty())) {
            _requests.clear();
            return false;
        }
        serve();
        return true;
    }

    /// Answers so many calls, those of the handlers included.
    void serve(std::size_t count = 10'000) {
        for (; count > 0 && !_requests.empty() && !isHanging; --count) {
            const Request request = std::move(_requests.front());
            _requests.pop_front();
            request.handler(_answer(request.call));
        }
    }

    std::vector<Lumivera::ToolCall> calls;
    bool isHanging = false;

  private:
    struct Request {
        Lumivera::ToolCall call;
        Handler handler;
    };

    const Answer _answer;
    std::deque<Request> _requests;
};

/// A desktop with the settings "picture" and "style", and with "other/picture" of another group.
/// Its tool is called with "read" or with "set", a key and a value, or without one.
struct FakeDesktop {
    Lumivera::DesktopSettings settings{{"style", "zoom"}, {"picture", "/own.png"}};
    bool takesChanges = true;
    bool isReadable = true;
    std::function<void()> beforeSet = [] {};

    Lumivera::ToolResult answer(const Lumivera::ToolCall &call) {
        const auto &arguments = call.arguments;
        if (arguments[1] == "read") {
            return {{}, isReadable ? "" : "tool: is not installed"};
        }
        beforeSet();
        if (!takesChanges) {
            return {{}, "tool: no room"};
        }
        if (arguments.size() > 3) {
            settings[arguments[2]] = arguments[3];
        } else {
            settings.erase(arguments[2]);
        }
        return {};
    }
};

/// Shows the first output in "picture", the second in "other/picture".
class FakeProgram final : public Lumivera::DesktopProgram {
  public:
    explicit FakeProgram(FakeDesktop &desktop, std::string name = "fake")
        : _desktop(desktop), _name(std::move(name)) {}

    std::string windowClass() const override { return _name; }
    std::string settingsName() const override { return "Fake's settings"; }
    bool hasPicturePerOutput() const override { return true; }
    std::vector<Lumivera::ToolCall> callsToRead() const override { return {{{"tool", "read"}}}; }

    Lumivera::DesktopSettings
    settingsFrom(const std::vector<Lumivera::ToolResult> &results) const override {
        if (!results[0].isGood()) {
            throw Lumivera::HostError("Fake's settings", results[0].problem);
        }
        return _desktop.settings;
    }

    Lumivera::DesktopSettings settingsFor(const Lumivera::DesktopPictures &pictures,
                                          const Lumivera::DesktopSettings &) const override {
        Lumivera::DesktopSettings wanted{{"style", "stretch"},
                                         {"picture", pictures.outputs.at(0).path}};
        if (pictures.outputs.size() > 1) {
            wanted["other/picture"] = pictures.outputs[1].path;
        }
        return wanted;
    }

    std::vector<Lumivera::ToolCall> set(const Lumivera::DesktopSettings &values) const override {
        std::vector<Lumivera::ToolCall> calls;
        for (const auto &[key, value] : values) {
            calls.push_back({{"tool", "set", key}});
            if (value) {
                calls.back().arguments.push_back(*value);
            }
        }
        return calls;
    }

    std::string groupOf(const std::string &key) const override {
        return key.starts_with("other/") ? "other" : "first";
    }

  private:
    FakeDesktop &_desktop;
    const std::string _name;
};
