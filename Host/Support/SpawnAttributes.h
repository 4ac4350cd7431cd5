#pragma once

#include <spawn.h>

namespace Lumivera {

/// How programs of ours begin: with the signals as any program expects them, whatever we block or
/// ignore, and in a process group of their own. The terminal's interrupt goes to us alone, which
/// then end them.
class SpawnAttributes {
  public:
    SpawnAttributes();
    ~SpawnAttributes();

    SpawnAttributes(const SpawnAttributes &) = delete;
    SpawnAttributes &operator=(const SpawnAttributes &) = delete;

    const posix_spawnattr_t *get() const { return &_attributes; }

  private:
    posix_spawnattr_t _attributes;
};

} // namespace Lumivera
