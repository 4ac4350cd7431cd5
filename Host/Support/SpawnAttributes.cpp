#include "Host/Support/SpawnAttributes.h"

#include <csignal>

namespace Lumivera {

SpawnAttributes::SpawnAttributes() {
    sigset_t none;
    sigemptyset(&none);
    sigset_t standard;
    sigemptyset(&standard);
    sigaddset(&standard, SIGPIPE);
    posix_spawnattr_init(&_attributes);
    posix_spawnattr_setsigmask(&_attributes, &none);
    posix_spawnattr_setsigdefault(&_attributes, &standard);
    posix_spawnattr_setpgroup(&_attributes, 0);
    posix_spawnattr_setflags(&_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                               POSIX_SPAWN_SETPGROUP);
}

SpawnAttributes::~SpawnAttributes() { posix_spawnattr_destroy(&_attributes); }

} // namespace Lumivera
