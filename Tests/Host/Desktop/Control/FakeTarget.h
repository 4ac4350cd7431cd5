#pragma once

#include "Host/Desktop/Control/ControlService.h"
#include "Host/Support/HostError.h"

#include <set>
#include <string>
#include <vector>

namespace Lumivera {

/// A host with one output, "DP-1", that notes what it is asked for.
class FakeTarget final : public ControlTarget {
  public:
    std::vector<OutputStatus> status(const std::string &output) override {
        check(output);
        heard.push_back("status");
        OutputStatus status;
        status.output = "DP-1";
        status.width = 640;
        status.height = 480;
        status.bundle = bundle;
        status.layer = "over";
        status.petals = 120;
        status.framesPerSecond = 39.96;
        status.cpuTime = 1.5;
        status.pauseReasons = pauseReasons;
        return std::vector<OutputStatus>(outputCount, status);
    }

    void setPaused(const std::string &output, bool paused) override {
        check(output);
        heard.push_back((paused ? "pause " : "resume ") + output);
    }

    void choose(const std::string &output, const WallpaperChoice &choice) override {
        check(output);
        std::string text = "choose " + output;
        for (const WallpaperChoice::Key &key : WallpaperChoice::keys()) {
            if (const auto value = choice.textOf(key.name)) {
                text.append(" ").append(key.name).append("=").append(*value);
            }
        }
        heard.push_back(text);
    }

    void forget(const std::string &output, const std::string &key) override {
        check(output);
        heard.push_back("forget " + output + " " + key);
    }

    void tap(const std::string &output, CGPoint point) override {
        check(output);
        heard.push_back("tap " + std::to_string(static_cast<int>(point.x)) + " " +
                        std::to_string(static_cast<int>(point.y)));
    }

    void setCover(std::uint64_t program, const std::string &output,
                  std::optional<SurfaceVisibility> cover) override {
        check(output);
        programs.insert(program);
        heard.push_back("cover " + (cover ? std::to_string(static_cast<int>(*cover)) : "unknown"));
    }

    void forgetCovers(std::uint64_t program) override { programs.erase(program); }

    void saveScreenshot(const std::string &output, const std::string &path,
                        std::function<void(std::optional<std::string>)> done) override {
        check(output);
        heard.push_back("screenshot " + path);
        if (isSlow) {
            pending = std::move(done);
        } else {
            done(std::nullopt);
        }
    }

    const WallpaperLog &log() const override { return wallpaperLog; }

    void keep() override { heard.emplace_back("keep"); }
    void quit() override { heard.emplace_back("quit"); }

    std::vector<std::string> heard;
    std::vector<std::string> pauseReasons;
    std::size_t outputCount = 1;
    WallpaperLog wallpaperLog;
    std::string bundle = "/w/Lumivera.bundle";

    /// Those that have told what covers outputs.
    std::set<std::uint64_t> programs;

    /// Screenshots wait for `pending` to be called.
    bool isSlow = false;
    std::function<void(std::optional<std::string>)> pending;

  private:
    static void check(const std::string &output) {
        if (!output.empty() && output != "DP-1") {
            throw HostError(output, "is no output", "use DP-1");
        }
    }
};

} // namespace Lumivera
