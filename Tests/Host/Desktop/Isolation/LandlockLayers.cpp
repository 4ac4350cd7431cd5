#include "Tests/Host/Desktop/Isolation/LandlockLayers.h"

#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

bool useUpLandlock() {
    constexpr int kMoreThanGranted = 64;
    landlock_ruleset_attr rules{};
    rules.handled_access_fs = LANDLOCK_ACCESS_FS_MAKE_SYM;
    const auto ruleset =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0));
    if (ruleset < 0 || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        return false;
    }
    int layers = 0;
    while (layers < kMoreThanGranted && syscall(SYS_landlock_restrict_self, ruleset, 0) == 0) {
        ++layers;
    }
    close(ruleset);
    return layers < kMoreThanGranted;
}
