#include "Host/Desktop/Isolation/Sandbox.h"

#include "Host/Desktop/Isolation/CallFilter.h"
#include "Host/Desktop/Isolation/Namespaces.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LUMIVERA_SANITIZES
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define LUMIVERA_SANITIZES
#endif
#endif

namespace Lumivera::Sandbox {

namespace {

constexpr rlim_t kOpenFiles = 128;

/// A file that the process makes in memory, as long as it can make one, gets no more bytes. What it
/// prints goes into a smaller file.
constexpr rlim_t kFileBytes = 8192;

/// Each signal that waits and each timer takes memory of the kernel.
constexpr rlim_t kPendingSignals = 64;

#ifndef PR_SET_MDWE
#define PR_SET_MDWE 65
#define PR_MDWE_REFUSE_EXEC_GAIN 1
#endif
constexpr const char *kFirstToDie = "1000";

/// The order of protectionNames().
enum Kind : unsigned {
    WithoutPrivileges,
    Apart,
    FilesRuled,
    SignalsRuled,
    CallsFiltered,
    ResourcesLimited,
    DiesFirst
};

/// What the loader of libraries, the C library and fonts read. Nothing else of /etc, and nothing of
/// /proc: they tell of the user, of the machine and of other programs.
std::vector<ReadableFile> systemFiles() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    std::vector<ReadableFile> files;
    for (const char *const path :
         {"/lib", "/lib32", "/lib64", "/usr/lib", "/usr/lib32", "/usr/lib64", "/usr/local/lib",
          "/etc/ld.so.cache", "/etc/localtime", "/etc/fonts", "/usr/share/fonts",
          "/usr/local/share/fonts", "/usr/share/fontconfig", "/usr/share/locale",
          "/usr/share/zoneinfo", "/dev/null", "/dev/zero", "/dev/random", "/dev/urandom"}) {
        files.push_back({path});
    }
    files.push_back({program.parent_path().parent_path().parent_path() / "lib"});
    return files;
}

std::vector<ReadableFile> readableFiles(const std::string &folder) {
    std::vector<ReadableFile> files = systemFiles();
    if (!folder.empty()) {
        files.push_back({folder, false});
    }
    return files;
}

/// Lowers a limit; one that is lower already stays.
bool limit(__rlimit_resource resource, rlim_t amount) {
    rlimit value{};
    if (getrlimit(resource, &value) != 0) {
        return false;
    }
    value = {std::min(value.rlim_cur, amount), std::min(value.rlim_max, amount)};
    return setrlimit(resource, &value) == 0;
}

bool limitResources([[maybe_unused]] rlim_t bytes) {
    bool isLimited = true;
    for (const auto resource : {RLIMIT_CORE, RLIMIT_MEMLOCK, RLIMIT_MSGQUEUE}) {
        isLimited = limit(resource, 0) && isLimited;
    }
    isLimited = limit(RLIMIT_NOFILE, kOpenFiles) && isLimited;
    isLimited = limit(RLIMIT_FSIZE, kFileBytes) && isLimited;
    isLimited = limit(RLIMIT_SIGPENDING, kPendingSignals) && isLimited;
#ifndef LUMIVERA_SANITIZES
    isLimited = limit(RLIMIT_AS, bytes) && isLimited;
#endif
    return isLimited;
}

/// When memory runs out, the kernel ends this process before any that the user would miss.
bool dieFirst() {
    const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    const bool isSet = file >= 0 && write(file, kFirstToDie, 4) == 4;
    close(file);
    return isSet;
}

// ---- Deeds that the walls must stop, as children try them

/// Whether a child that has the walls fails at the deed.
bool stops(unsigned walls, const std::function<bool()> &deed) {
    const pid_t child = fork();
    if (child == 0) {
        Rules rules;
        rules.walls = walls;
        rules.bytes = RLIM_INFINITY;
        rules.threads = 1;
        enter(rules);
        _exit(deed() ? 1 : 0);
    }
    int status = -1;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool canOpen(const char *path) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    close(file);
    return file >= 0;
}

bool canConnect() {
    const int made = socket(AF_UNIX, SOCK_STREAM, 0);
    close(made);
    return made >= 0;
}

bool isPrivileged() { return prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) != 1; }

bool mayOpenMuch() {
    rlimit value{};
    return getrlimit(RLIMIT_NOFILE, &value) != 0 || value.rlim_max > kOpenFiles;
}

bool diesLate() {
    char text[16] = {};
    const int file = open("/proc/self/oom_score_adj", O_RDONLY | O_CLOEXEC);
    const bool isRead = read(file, text, sizeof text - 1) > 0;
    close(file);
    return !isRead || std::string(text) != std::string(kFirstToDie) + "\n";
}

} // namespace

const std::vector<std::string> &protectionNames() {
    static const std::vector<std::string> names = {
        "no new privileges",
        "files, processes and a network of its own (namespaces)",
        "no files but for reading the wallpaper (Landlock)",
        "no signals to other programs (Landlock)",
        "no system calls but for drawing (seccomp)",
        "limits of memory and open files",
        "the first to end when memory runs out"};
    return names;
}

std::vector<Protection> tryOut() {
    const pid_t other = getpid();
    const auto canSignal = [other] { return kill(other, 0) == 0; };
    const auto canReach = [&] { return canOpen("/etc/passwd") || canSignal(); };
    const bool holds[] = {stops(0, isPrivileged),
                          stops(kNamespaces, canReach),
                          stops(kFileRules, [] { return canOpen("/etc/passwd"); }),
                          stops(kFileRules, canSignal),
                          stops(kCallFilter, canConnect),
                          stops(kLimits, mayOpenMuch),
                          stops(kLimits, diesLate)};
    std::vector<Protection> protections;
    for (std::size_t i = 0; i < std::size(holds); ++i) {
        protections.push_back({protectionNames()[i], holds[i]});
    }
    return protections;
}

Entry enter(const Rules &rules) {
    const auto wants = [&rules](Wall wall) { return (rules.walls & wall) != 0; };
    const std::vector<ReadableFile> readable = readableFiles(rules.folder);
    std::uint32_t refused = 0;
    const auto expect = [&refused](Kind kind, bool holds) {
        refused |= holds ? 0 : std::uint32_t{1} << kind;
    };
    if (wants(kLimits)) {
        expect(DiesFirst, dieFirst());
        expect(ResourcesLimited, limitResources(rules.bytes));
    }
    // Many systems do not let users have namespaces, so that is no refusal.
    const bool isApart = wants(kNamespaces) && Namespaces::enter(readable, rules.movedTo);
    if (isApart && wants(kLimits) && rules.threads != 0) {
        expect(ResourcesLimited, limit(RLIMIT_NPROC, rules.threads));
    }
    const bool isWithoutPrivileges = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
    expect(WithoutPrivileges, isWithoutPrivileges);
    if (const int version = std::min(FileRules::version(), rules.newestLandlock);
        version > 0 && wants(kFileRules)) {
        const bool holds = isWithoutPrivileges && FileRules::enter(readable, version);
        expect(FilesRuled, holds);
        expect(SignalsRuled, holds || version < FileRules::kSignals);
    }
    if (wants(kLimits)) {
        expect(WithoutPrivileges, Namespaces::giveUpCapabilities());
        // Memory that was written is never run. Kernels since 6.3 offer that.
        prctl(PR_SET_MDWE, PR_MDWE_REFUSE_EXEC_GAIN, 0, 0, 0);
    }
    CallFilter::Entry calls{true};
    if (wants(kCallFilter)) {
        calls = CallFilter::enter(rules.tellsRefusals ? CallFilter::Refusals::Told
                                                      : CallFilter::Refusals::Silent);
        expect(CallsFiltered, calls.holds || !CallFilter::isOffered());
    }
    return {refused, calls.listener};
}

void finish() { CallFilter::finish(); }

} // namespace Lumivera::Sandbox
