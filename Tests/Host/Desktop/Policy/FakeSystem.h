#pragma once

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <memory>
#include <string>
#include <sys/types.h>

namespace Lumivera {

/// A system bus of the test's own, in a process of its own, while the object lives; every bus that
/// is opened as the system's is that one.
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

/// A login manager and a power service on that bus, served by the test when it says so.
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

    /// Answers what has been asked so far.
    void serve();

    /// Which of the ways to our session lead anywhere.
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
