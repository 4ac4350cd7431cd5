#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

/// Polls until the condition holds; false when it does not within that many seconds, which only a
/// failure takes.
bool eventually(const std::function<bool()> &condition, double seconds = 30);

bool isInstalled(const std::string &program);

/// Runs a command line; its standard output.
std::string outputOf(const std::string &command);

/// A private X server for one test.
class VirtualScreen {
  public:
    /// `options` are added to the server's command line.
    explicit VirtualScreen(const std::string &size = "800x800x24",
                           const std::vector<std::string> &options = {});
    ~VirtualScreen();

    /// The X server that people run, without a card: one monitor of 1280x800 pixels, or two of half
    /// the width beside each other, unless the desktop has its own idea. It has a touch screen,
    /// whose driver takes events from a socket. `configuration` and `touchSocket` are files to
    /// make.
    static VirtualScreen withOutputs(const std::string &configuration,
                                     const std::string &touchSocket);
    void showTwoMonitors() const;
    void showOneMonitor() const;

    VirtualScreen(const VirtualScreen &) = delete;
    VirtualScreen &operator=(const VirtualScreen &) = delete;

    /// Empty when the server could not be started.
    const std::string &name() const { return _name; }

    /// The server's process.
    pid_t server() const { return _server; }

    /// Runs a command that uses the screen; its output.
    std::string run(const std::string &command) const;

    /// Starts a program that uses the screen and ends with it; its process.
    pid_t start(const std::vector<std::string> &arguments);

    /// Ends a program that was started here, or the screen itself.
    void end(pid_t process);
    void end();

  private:
    /// The command line of a server that writes its number to the descriptor that `-displayfd`
    /// gets.
    explicit VirtualScreen(std::vector<std::string> server);

    pid_t _server = -1;
    std::string _name;
    std::vector<pid_t> _programs;
};
