#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <string>
#include <sys/types.h>

/// A real Wayland compositor with an output "HEADLESS-1" in memory, for one test. It refuses to run
/// as root, so a test of root runs it as the user nobody.
class HeadlessCompositor {
  public:
    enum class Kind { Sway, Phoc };

    /// Whether the compositor and the tool that takes screenshots are installed.
    static bool isInstalled(Kind kind);

    /// `configuration` is in the compositor's own language; without it sway's output has 800x600
    /// pixels. With a parent, the outputs are windows there, named "WL-1" and so on, which can be
    /// closed.
    explicit HeadlessCompositor(Kind kind, const std::string &configuration = "",
                                const HeadlessCompositor *parent = nullptr);
    ~HeadlessCompositor();

    HeadlessCompositor(const HeadlessCompositor &) = delete;
    HeadlessCompositor &operator=(const HeadlessCompositor &) = delete;

    /// The value for WAYLAND_DISPLAY; empty when the compositor could not be started.
    const std::string &socket() const { return _socket; }

    /// The value for SWAYSOCK; empty where it is not sway.
    std::string swaySocket() const;

    /// Runs a command as a client of the compositor; its output.
    std::string run(const std::string &command) const;

    /// Sends sway a command in its own language and waits until it is done.
    void tell(const std::string &message) const;

    /// A screenshot of an output in its pixels; null when it shows nothing.
    Retained<CGImage> picture(const std::string &output = "HEADLESS-1") const;

    /// Kills it, as a crash would.
    void kill() const;

  private:
    void start(Kind kind, const std::string &configuration, const std::string &parent);
    bool findSocket();

    TemporaryFolder _folder;
    pid_t _process = -1;
    std::string _socket;
};
