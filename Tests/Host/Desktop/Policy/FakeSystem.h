#pragma once

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <memory>
#include <string>
#include <sys/types.h>

namespace Lumivera {

/// A private bus in a child process. While the object lives, every connection to the system bus
/// leads to it.
class FakeSystem {
  public:
    FakeSystem();
    ~FakeSystem();

    FakeSystem(const FakeSystem &) = delete;
    FakeSystem &operator=(const FakeSystem &) = delete;

    /// Ends the bus as if it had crashed.
    void killBus();

  private:
    TemporaryFolder _folder;
    pid_t _daemon = -1;
};

/// A fake login manager and a fake power service on that bus. They answer only in serve().
class FakeServices {
  public:
    struct State;

    struct Names {
        bool hasLogind = true;
        bool hasUPower = true;
    };

    explicit FakeServices(Names names);
    FakeServices() : FakeServices(Names()) {}
    ~FakeServices();

    FakeServices(const FakeServices &) = delete;
    FakeServices &operator=(const FakeServices &) = delete;

    /// Answers all pending requests.
    void serve();

    /// Which ways of finding our session work.
    void setSessionByProcess(bool has);
    void setSessionByName(const std::string &name);
    void setDisplaySession(bool has);

    void setLocked(bool isLocked);
    void setIdle(bool isIdle);
    void setActive(bool isActive);
    void setOnBattery(bool isOnBattery);
    void prepareForSleep(bool begins);

  private:
    void changed(const char *path, const char *interface, const char *property);

    std::unique_ptr<State> _state;
};

} // namespace Lumivera
