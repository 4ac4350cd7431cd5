#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Confines a process that runs foreign code to drawing.
namespace Lumivera::Sandbox {

/// A kind of protection with its name for people; `holds` when this kernel offers it.
struct Protection {
    std::string name;
    bool holds = false;
};

/// All kinds of protection, always in the same order. Changes nothing.
std::vector<Protection> available();

struct Limits {
    /// Files, and folders with everything below them, that may be read. Nothing may be written.
    std::vector<std::string> readable;

    /// Limit of the address space.
    std::uint64_t bytes = 0;
};

/// Irrevocably gives up what drawing does not need: new privileges, all access to files except
/// reading the given ones, other processes, new connections, and memory beyond the limit.
/// Protections that the kernel does not offer are skipped. Returns a bit, in the order of
/// available(), for each protection that the kernel offers but has refused. Call while the process
/// has one thread.
std::uint32_t enter(const Limits &limits);

} // namespace Lumivera::Sandbox
