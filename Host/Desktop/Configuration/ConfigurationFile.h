#pragma once

#include "Host/Desktop/Configuration/Configuration.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Lumivera {

/// Reads the user's configuration file and watches it for changes, also behind links: the file may
/// be rewritten, replaced, deleted, or created together with its folder. Reads it again after 0.1 s
/// without an event, so that no half-written file is read. A missing file configures nothing. Main
/// thread.
class ConfigurationFile final : private DescriptorSource {
  public:
    class Listener {
      public:
        /// Called in a call-out of the main run loop when the configuration has changed or the file
        /// was broken before.
        virtual void configurationChanged(const Configuration &configuration) = 0;

        /// The file is broken and the configuration stays as it was. `problem` is one line.
        virtual void configurationBroken(const std::string &problem) = 0;

      protected:
        ~Listener() = default;
    };

    /// Reads the file; problem() tells if it is broken. The file is not followed where the system
    /// has no inotify instance left. The waiter is not owned.
    ConfigurationFile(DescriptorWaiter &waiter, std::string path);
    ~ConfigurationFile();

    ConfigurationFile(const ConfigurationFile &) = delete;
    ConfigurationFile &operator=(const ConfigurationFile &) = delete;

    /// Not owned; null for none.
    void setListener(Listener *listener) { _listener = listener; }

    /// The contents of the file when it was last valid.
    const Configuration &configuration() const { return _configuration; }

    /// The problem of the file as it is now; empty when it is valid.
    const std::string &problem() const { return _problem; }

    const std::string &path() const { return _path; }

    /// $XDG_CONFIG_HOME/lumivera/lumivera.toml, in ~/.config by default.
    static std::string standardPath();

    /// Reads a file and makes its paths absolute; a missing file configures nothing. Throws a
    /// HostError when the file cannot be read, is too large or is broken.
    static Configuration read(const std::string &path);

    /// Sets the wallpaper for all outputs in a file and leaves the rest of it as it is. Makes the
    /// file and its folder where they are missing. Throws a HostError, with nothing changed, when
    /// it cannot.
    static void setWallpaper(const std::string &path, const std::string &wallpaper);

  private:
    /// A watched folder, and the name in it whose changes matter.
    struct Watch {
        int number;
        std::string name;
    };

    int descriptor() const override { return _notifications; }
    void serve() override;
    bool concernsUs(int watch, std::uint32_t mask, const char *name) const;
    void readAgain();
    void load();
    void watchFolders();
    static std::vector<Watch> watchesFor(int notifications, std::filesystem::path path);
    static void watch(int notifications, const std::string &path, std::vector<Watch> &watches);

    DescriptorWaiter &_waiter;
    const std::string _path;
    int _notifications = -1;
    DeferredCall _readAgain;
    std::vector<Watch> _watches;
    Configuration _configuration;
    std::string _problem;
    Listener *_listener = nullptr;
};

} // namespace Lumivera
