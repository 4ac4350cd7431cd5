#pragma once

#include "Platform/Foundation/NSObject.h"

#include <atomic>
#include <functional>

/// Counts its own destruction, and may call back in its destructor.
class Tracked : public NSObject {
  public:
    explicit Tracked(std::atomic<int> &deaths, std::function<void(Tracked &)> atDeath = nullptr)
        : _deaths(deaths), _atDeath(std::move(atDeath)) {}

  protected:
    ~Tracked() override {
        ++_deaths;
        if (_atDeath) {
            _atDeath(*this);
        }
    }

  private:
    std::atomic<int> &_deaths;
    std::function<void(Tracked &)> _atDeath;
};
