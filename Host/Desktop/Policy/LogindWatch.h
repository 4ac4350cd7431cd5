#pragma once

#include "Host/Desktop/Policy/SystemBus.h"

#include <functional>
#include <set>
#include <string>

namespace Lumivera {

/// Follows the login manager's session of this process: the one that it runs in, else the one that
/// the environment names, else the user's graphical session. Main thread.
class LogindWatch {
  public:
    /// `changed` is called in call-outs whenever an answer may be different. The bus must outlive
    /// the object, and must not be served after the object's end.
    LogindWatch(SystemBus &bus, std::function<void()> changed);

    LogindWatch(const LogindWatch &) = delete;
    LogindWatch &operator=(const LogindWatch &) = delete;

    /// True when the session was found; otherwise the flags below are false.
    bool isThere() const { return !_session.empty(); }

    bool isLocked() const { return _flags.isLocked; }
    bool isIdle() const { return _flags.isIdle; }
    bool isInactive() const { return _flags.isInactive; }
    bool isAsleep() const { return _isAsleep; }

    /// Called when the bus, and so the manager, is gone.
    void forget();

  private:
    struct Flags {
        bool isLocked = false;
        bool isIdle = false;
        bool isInactive = false;
    };

    using Next = std::function<void()>;

    void listen();
    void findSession();
    void findNamedSession();
    void findDisplaySession();
    void readDisplay(const std::string &user);
    void ask(const char *method, const SystemBus::Handler &addArguments,
             std::function<void(const std::string &path)> found, const Next &notFound);
    void follow(const std::string &session);
    void readFlags();
    static Flags flagsFrom(sd_bus_message &message, Flags flags);

    SystemBus &_bus;
    const std::function<void()> _changed;
    std::string _session;
    std::set<std::string> _followed;
    Flags _flags;
    bool _isAsleep = false;
};

} // namespace Lumivera
