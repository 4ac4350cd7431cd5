#pragma once

#include "Host/Desktop/Configuration/Configuration.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Lumivera {

/// The user's configuration file, followed as it changes: rewritten in place, replaced by another
/// under its name, deleted, begun in a folder that is not there yet, or behind a link. It is read
/// again when nothing has happened to it for a moment, so that half a file is not read. A missing
/// file configures nothing. Main thread.
class ConfigurationFile final : private DescriptorSource {
  public:
    class Listener {
      public:
        /// In a call-out of the main run loop, only when the configuration is another one or the
        /// file was broken before.
        virtual void configurationChanged(const Configuration &configuration) = 0;

        /// The file is broken; the configuration stays what it was. `problem` is one line.
        virtual void configurationBroken(const std::string &problem) = 0;

      protected:
        ~Listener() = default;
    };

    /// Reads the file. A broken one is told by problem() alone. Where the system lets nobody watch
    /// files, the file is not followed.
    ConfigurationFile(DescriptorWaiter &waiter, std::string path);
    ~ConfigurationFile();

    ConfigurationFile(const ConfigurationFile &) = delete;
    ConfigurationFile &operator=(const ConfigurationFile &) = delete;

    /// Not owned; null for none.
    void setListener(Listener *listener) { _listener = listener; }

    /// What the file said when it was last in order.
    const Configuration &configuration() const { return _configuration; }

    /// What is wrong with the file as it is now; empty when it is in order.
    const std::string &problem() const { return _problem; }

    const std::string &path() const { return _path; }

    /// $XDG_CONFIG_HOME/lumivera/lumivera.toml, in ~/.config by default.
    static std::string standardPath();

    /// What a file says, with every path absolute; nothing when there is none. A HostError when it
    /// cannot be read, is larger than a configuration may be or is broken.
    static Configuration read(const std::string &path);

    /// Puts the wallpaper for all outputs into a file and leaves the rest of it as it stands. Makes
    /// the file and its folder when they are missing; on a HostError nothing has changed.
    static void setWallpaper(const std::string &path, const std::string &wallpaper);

  private:
    /// A folder in which a change of one name, or of the folder, concerns us.
    struct Watch {
        int number;
        std::string name;
    };

    int descriptor() const override { return _notifications; }
    void serve() override;
    bool concernsUs(int watch, std::uint32_t mask, const char *name) const;
    void readSoon();
    void readAgain();
    void load();
    void watchFolders();
    void watch(const std::string &path);

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
