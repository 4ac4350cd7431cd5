#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What keeps a process that runs foreign code from doing anything but drawing.
namespace Lumivera::Sandbox {

/// One kind of protection, by its name for people, and whether this system's kernel has it.
struct Protection {
    std::string name;
    bool holds = false;
};

/// What enter() can count on here: all kinds, always in the same order. Changes nothing.
std::vector<Protection> available();

struct Limits {
    /// What may be read: files, and folders with all that is below them. Nothing may be written.
    std::vector<std::string> readable;

    /// Of address space.
    std::uint64_t bytes = 0;
};

/// Gives up for ever what drawing does not need: further privileges, files but for reading the
/// given ones, other processes, the network and any other new connection, memory beyond the limit.
/// What the kernel does not have is left out. Gives a bit, as they are ordered by available(), for
/// every protection that the kernel has but has refused. Called while the process has one thread.
std::uint32_t enter(const Limits &limits);

} // namespace Lumivera::Sandbox
