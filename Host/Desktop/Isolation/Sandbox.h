#pragma once

#include "Host/Desktop/Isolation/FileRules.h"

#include <climits>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Confines a process that runs foreign code to drawing, by walls of which one alone would do for
/// most deeds.
namespace Lumivera::Sandbox {

/// The walls, as bits.
enum Wall : unsigned {
    kNamespaces = 1, ///< files, processes and a network of its own
    kFileRules = 2,  ///< Landlock
    kCallFilter = 4, ///< seccomp
    kLimits = 8,     ///< of resources; no rights of root, no code that is made at run time
    kAllWalls = 15
};

/// A kind of protection with its name for people; `holds` when it stands on this machine.
struct Protection {
    std::string name;
    bool holds = false;
};

/// The names of all kinds of protection, always in the same order.
const std::vector<std::string> &protectionNames();

/// Tries each kind of protection in a child process, which must fail to do what it protects from.
/// Takes some 50 ms. Changes nothing in this process.
std::vector<Protection> tryOut();

struct Rules {
    /// A folder that may be read with everything below it, and whose links lead nowhere else; an
    /// absolute path. Of other files, only those of libraries, fonts and time zones may be read,
    /// and nothing may be written.
    std::string folder;

    /// Limit of the address space.
    std::uint64_t bytes = 0;

    /// The most threads; holds with kNamespaces and kLimits, and not for root.
    unsigned threads = 0;

    /// As in Namespaces::enter().
    std::function<void(int)> movedTo = {};

    /// Whether Entry gives a listener.
    bool tellsRefusals = false;

    /// Tests leave walls out, or keep to an older version of Landlock.
    unsigned walls = kAllWalls;
    int newestLandlock = INT_MAX;
};

struct Entry {
    /// A bit, in the order of protectionNames(), for each that the kernel offers but has refused.
    std::uint32_t refused = 0;

    /// As in CallFilter::Entry. While it is not -1, finish() must follow.
    int listener = -1;
};

/// Irrevocably gives up what drawing does not need: new privileges, all access to files except
/// reading some, other processes, new connections, all but some system calls, and memory beyond the
/// limit. Protections that the kernel does not offer are skipped. Goes on in another process. Call
/// while the process has one thread.
Entry enter(const Rules &rules);

/// Closes what enter() left open for sending the listener away.
void finish();

} // namespace Lumivera::Sandbox
