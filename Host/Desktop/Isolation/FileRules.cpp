#include "Host/Desktop/Isolation/FileRules.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Lumivera {

namespace {

/// The landlock_ruleset_attr of the newest kernels; older kernels read only its first members.
struct Ruleset {
    std::uint64_t files = 0;
    std::uint64_t network = 0;
    std::uint64_t scopes = 0;
};

constexpr std::uint64_t kReading = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;

constexpr std::uint64_t bitsBelow(unsigned count) { return (std::uint64_t{1} << count) - 1; }

/// All rights that this Landlock version can restrict.
Ruleset rulesetOf(int version) {
    const unsigned files = version >= 5 ? 16 : version >= 3 ? 15 : version == 2 ? 14 : 13;
    return {bitsBelow(files), version >= 4 ? bitsBelow(2) : 0, version >= 6 ? bitsBelow(2) : 0};
}

std::size_t rulesetBytes(int version) {
    return version >= 6 ? sizeof(Ruleset) : version >= 4 ? 16 : 8;
}

void allowReading(int ruleset, const ReadableFile &file) {
    const int descriptor = file.open();
    struct stat status;
    if (descriptor < 0 || fstat(descriptor, &status) != 0) {
        close(descriptor);
        return;
    }
    landlock_path_beneath_attr rule{};
    rule.allowed_access = S_ISDIR(status.st_mode) ? kReading : LANDLOCK_ACCESS_FS_READ_FILE;
    rule.parent_fd = descriptor;
    syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
    close(descriptor);
}

} // namespace

int ReadableFile::open() const {
    const int descriptor = ::open(path.c_str(), O_PATH | O_CLOEXEC | (mayBeLink ? 0 : O_NOFOLLOW));
    struct stat status;
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || S_ISLNK(status.st_mode))) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

int FileRules::version() {
    return std::max(0, static_cast<int>(syscall(SYS_landlock_create_ruleset, nullptr, 0,
                                                LANDLOCK_CREATE_RULESET_VERSION)));
}

bool FileRules::enter(const std::vector<ReadableFile> &readable, int newest) {
    const int used = std::min(version(), newest);
    if (used < 1) {
        return false;
    }
    const Ruleset rules = rulesetOf(used);
    const auto ruleset =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, rulesetBytes(used), 0));
    if (ruleset < 0) {
        return false;
    }
    for (const ReadableFile &file : readable) {
        allowReading(ruleset, file);
    }
    const bool isConfined = syscall(SYS_landlock_restrict_self, ruleset, 0) == 0;
    close(ruleset);
    return isConfined;
}

} // namespace Lumivera
