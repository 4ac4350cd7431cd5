#pragma once

#include "Host/Desktop/Isolation/RefusedCalls.h"
#include "Host/Desktop/Isolation/Sandbox.h"
#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Support/DescriptorWaiter.h"
#include "Host/Support/HostError.h"
#include "Host/Support/PacketSocket.h"
#include "Platform/Foundation/NSTypes.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Lumivera {

/// The text of a report in one line, and as it is. `bytes` is the packet's size.
std::string textOf(const ViewReport &report, std::size_t bytes);
std::string rawTextOf(const ViewReport &report, std::size_t bytes);

/// The failure of a bundle's process. A reason that begins with a path in the bundle, or with
/// `subject` if that is not empty, is a whole message; all others are about the bundle.
HostError failureOf(const std::string &bundle, const std::string &reason,
                    const std::string &subject = {});

/// How many times as patient a person is who has asked for that many petals: a crowd of them takes
/// minutes to draw.
constexpr double patienceWith(NSUInteger petals) {
    constexpr NSUInteger kPetalsPerPatience = 10'000;
    return static_cast<double>(1 + petals / kPetalsPerPatience);
}

/// A process of the program lumivera-view, which confines itself before it runs a bundle's code,
/// and the connection to it. The destructor kills it. Main thread.
class ConfinedProcess final {
  public:
    /// How a process is confined, and who hears of it.
    struct Confinement {
        /// Runs the bundle's library even if others can write it.
        bool isTrusted = false;

        /// Called with the name of each protection that the kernel offers but has refused.
        std::function<void(const std::string &name)> protectionRefused = {};

        /// Called with each line for the log about what the process does and may not, once.
        std::function<void(const std::string &line)> says = {};

        /// Called with each line that the bundle's code logs, and with each that it prints, safe to
        /// print. Of the latter it gets a few when the process prints much.
        std::function<void(const std::string &line)> logs = {};
        std::function<void(const std::string &line)> prints = {};

        /// Called once with the process that runs the bundle's code, about when that begins.
        std::function<void(int process)> confined = {};

        /// Tests leave walls out.
        unsigned walls = Sandbox::kAllWalls;

        /// Tests that play the process themselves give the host's end of the connection, which is
        /// taken over. There is no process then.
        PacketSocket *connection = nullptr;
    };

    using LineSink = std::function<void(const std::string &line)>;

    /// How long a printed line is at most, in bytes, and how many of them one takePrinted() tells.
    static constexpr std::size_t kMaxPrintedLine = 2000;
    static constexpr unsigned kMaxPrintedLines = 50;

    /// Functions for protectionRefused and says, which print lines for people.
    static LineSink printsRefusedProtections(LineSink print);
    static LineSink printsAbout(const std::string &bundle, LineSink print);

    /// The same for `confined`: the line that tells people which process a debugger is to attach
    /// to.
    static std::function<void(int process)> printsProcessOf(const std::string &bundle,
                                                            LineSink print);

    /// `bundle` is a path; `options` go to the program. Throws a HostError when there can be no
    /// process. The watch is not owned.
    ConfinedProcess(DescriptorWatch &watch, const std::string &bundle,
                    const Confinement &confinement, const std::vector<std::string> &options = {});
    ~ConfinedProcess();

    ConfinedProcess(const ConfinedProcess &) = delete;
    ConfinedProcess &operator=(const ConfinedProcess &) = delete;

    const PacketSocket &connection() const { return _connection; }

    /// What the process finds as the descriptor behind its socket: memory of this size, for its
    /// BundleCall.
    static constexpr std::size_t kCallBytes = 4096;

    /// The identifier of the process that runs the bundle's code; -1 when it has ended.
    int process() const { return _process; }

    /// The processor time that the process has used, in seconds.
    double cpuTime() const;

    /// Take the reports of these kinds, a log line into the host's own log; false when the process
    /// may not send them any more.
    bool takeLog(const ViewReport &report, std::size_t bytes);
    bool takeMove(const ViewReport &report);
    bool takeConfinement(const ViewReport &report, int listener);

    /// Takes what the process has printed since the last call, and says, once, when that is much.
    /// To be called from time to time, because what does not fit into a pipe is lost.
    void takePrinted();

    /// What the process takes of the kernel, in words; empty when that is not too much. The tables
    /// that map its memory may take so many KiB: the limit of its address space does not count
    /// them.
    std::string complaintAboutKernel(std::uint64_t tableKilobytes) const;

    /// Where in the bundle's code the process is, as it says itself: ", in doAnimating"; empty when
    /// it is in none.
    std::string place() const;

    /// The words for a process that was waited for in vain so long, in seconds: of the clock, or of
    /// its own processor time.
    enum class TimeOf { Clock, Processor };
    std::string complaintAboutSilence(NSTimeInterval seconds, TimeOf time = TimeOf::Clock) const;

    /// Kills the process if it still runs. Returns how it ended, in words.
    std::string end();

  private:
    ConfinedProcess(DescriptorWatch &watch, const std::string &bundle,
                    const Confinement &confinement, const std::vector<std::string> &options,
                    std::pair<PacketSocket, PacketSocket> ends);
    void begin(const Confinement &confinement, const std::vector<std::string> &options,
               const PacketSocket &theirs);
    void tellRefusals(int listener);
    void endUnheardMove();
    void addPrinted(std::string_view text);
    void endPrintedLine();
    std::string lastWords() const;
    void freeMemory() const;

    DescriptorWatch &_watch;
    const std::string _bundle;
    const std::function<void(const std::string &name)> _protectionRefused;
    const std::function<void(const std::string &line)> _says;
    const LineSink _logs;
    const LineSink _prints;
    const std::function<void(int process)> _confined;
    const PacketSocket _connection;
    std::optional<RefusedCalls> _refusedCalls;

    /// The process that runs the code, and the one that it was started in, until that has exited.
    int _process = -1;
    int _starter = -1;

    /// What the process prints: the pipe, the line that it has begun, the last one that it has
    /// ended, how many came in one takePrinted(), and the bytes of all.
    int _printed = -1;
    std::string _begunLine;
    std::string _lastLine;
    unsigned _printedLines = 0;
    std::size_t _printedBytes = 0;
    bool _isPrintingDue = true;

    /// The process's BundleCall, which it may change; null when there can be none.
    const std::atomic<std::uint32_t> *_call = nullptr;
    unsigned _logLines = 0;
    bool _isMoveDue = true;
    bool _isConfinementDue = true;
};

} // namespace Lumivera
