#include "Host/Desktop/Isolation/ViewProgram.h"

#include "Host/Desktop/Isolation/Sandbox.h"
#include "Host/Desktop/Isolation/ViewService.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <malloc.h>
#include <new>
#include <string_view>
#include <sys/prctl.h>
#include <unistd.h>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

// What a view of the largest screens takes, three times over.
constexpr std::uint64_t kAddressSpace = std::uint64_t{768} << 20;
constexpr std::uint64_t kAddressSpacePerPixel = 24;

constexpr int kWrongUsage = 2;

/// The libraries, where the bundle is, and the files that its links lead to.
std::vector<std::string> readablePaths(const fs::path &bundle) {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    std::vector<std::string> paths = {"/usr",
                                      "/lib",
                                      "/lib64",
                                      "/etc",
                                      "/proc/self",
                                      "/sys/devices/system/cpu",
                                      "/dev/null",
                                      "/dev/zero",
                                      "/dev/random",
                                      "/dev/urandom",
                                      fs::canonical(bundle, error)};
    paths.push_back(program.parent_path().parent_path().parent_path() / "lib");
    for (fs::directory_iterator entry(bundle, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->is_symlink(error) && entry->is_regular_file(error)) {
            paths.push_back(fs::canonical(entry->path(), error));
        }
    }
    return paths;
}

void enterSandbox(const PacketSocket &host, const std::string &bundle,
                  const SharedBuffers &memory) {
    // Every further arena would take up address space that nothing uses.
    mallopt(M_ARENA_MAX, 1);
    const std::uint64_t pixels = std::uint64_t{memory.width()} * memory.height();
    ViewReport report;
    report.kind = ViewReport::Kind::Confined;
    report.index = Sandbox::enter(
        {readablePaths(bundle), kAddressSpace + kAddressSpacePerPixel * pixels + memory.bytes()});
    host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes);
}

void reportFailure(const PacketSocket &host, const char *text) {
    ViewReport report;
    report.kind = ViewReport::Kind::Failure;
    std::snprintf(report.text, sizeof report.text, "%s", text);
    host.send(&report, sizeof report, PacketSocket::Wait::Yes);
}

/// Not to be left in the way of any other: what the bundle's library left behind is not trusted to
/// end by itself.
[[noreturn]] void end(int status) { std::_Exit(status); }

} // namespace

int runViewProgram(int argumentCount, const char *const *arguments) {
    int descriptor = -1;
    const bool isTrusted = argumentCount == 4 && std::string_view(arguments[3]) == "--trust";
    if ((argumentCount != 3 && !isTrusted) ||
        std::from_chars(arguments[1], arguments[1] + std::strlen(arguments[1]), descriptor).ec !=
            std::errc()) {
        std::fputs("lumivera-view: is run by `lumivera desktop`\n", stderr);
        return kWrongUsage;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Whatever else whoever began the host has left open is none of the view's.
    close_range(static_cast<unsigned>(descriptor) + 1, ~0U, 0);
    const PacketSocket host(descriptor);
    try {
        ViewService::Start start = ViewService::readStart(host);
        enterSandbox(host, arguments[2], *start.memory);
        const WallpaperBundle bundle(arguments[2], isTrusted ? WallpaperBundle::Trust::Anybody
                                                             : WallpaperBundle::Trust::UserAndRoot);
        ViewService(host, std::move(start), bundle).run();
    } catch (const std::bad_alloc &) {
        reportFailure(host, "takes more memory than a wallpaper may have");
        end(1);
    } catch (const std::exception &error) {
        reportFailure(host, error.what());
        end(1);
    }
    end(0);
}

} // namespace Lumivera
