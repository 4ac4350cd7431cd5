#pragma once

#include <cstdlib>
#include <optional>
#include <string>

/// A variable of the environment for the length of a test.
class EnvironmentVariable {
  public:
    EnvironmentVariable(const char *name, const char *value) : _name(name) {
        const char *old = std::getenv(name);
        _old = old ? std::optional<std::string>(old) : std::nullopt;
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~EnvironmentVariable() { _old ? setenv(_name, _old->c_str(), 1) : unsetenv(_name); }
    EnvironmentVariable(const EnvironmentVariable &) = delete;
    EnvironmentVariable &operator=(const EnvironmentVariable &) = delete;

  private:
    const char *const _name;
    std::optional<std::string> _old;
};
