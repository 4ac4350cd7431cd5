#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <string>
#include <sys/types.h>

/// A real Wayland compositor with an output "HEADLESS-1" in memory, for one test. It does not run
/// as root, so a test that does lends it to nobody.
class HeadlessCompositor {
  public:
    enum class Kind { Sway, Phoc };

    /// Whether it and the tool that takes its pictures are there.
    static bool isInstalled(Kind kind);

    /// `configuration` in the compositor's own language; sway's output is otherwise 800x600. With a
    /// parent, its outputs are windows there, "WL-1" and so on, which can be closed.
    explicit HeadlessCompositor(Kind kind, const std::string &configuration = "",
                                const HeadlessCompositor *parent = nullptr);
    ~HeadlessCompositor();

    HeadlessCompositor(const HeadlessCompositor &) = delete;
    HeadlessCompositor &operator=(const HeadlessCompositor &) = delete;

    /// What WAYLAND_DISPLAY is to be; empty when the compositor could not be started.
    const std::string &socket() const { return _socket; }

    /// The output of a command that uses the compositor.
    std::string run(const std::string &command) const;

    /// Tells sway to do something, in its own language; waits until it is done.
    void tell(const std::string &message) const;

    /// What an output shows, in its pixels; null when it shows nothing.
    Retained<CGImage> picture(const std::string &output = "HEADLESS-1") const;

    /// Ends it at once, as a crash would.
    void kill() const;

  private:
    void start(Kind kind, const std::string &configuration, const std::string &parent);
    bool findSocket();

    TemporaryFolder _folder;
    pid_t _process = -1;
    std::string _socket;
};
