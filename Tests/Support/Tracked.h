#pragma once

#include "Platform/Foundation/NSObject.h"

#include <atomic>
#include <functional>

/// An object that counts its death and may do something while it dies.
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
