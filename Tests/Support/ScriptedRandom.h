#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>

/// Stands between a test program and the C library's random numbers: counts the draws of every
/// thread and answers them with scripted numbers while there are any, then with real ones. One at a
/// time; the script ends with it.
class ScriptedRandom {
  public:
    ScriptedRandom(std::initializer_list<int> draws = {});
    ~ScriptedRandom();
    ScriptedRandom(const ScriptedRandom &) = delete;
    ScriptedRandom &operator=(const ScriptedRandom &) = delete;

    /// Puts more draws behind those that are left.
    void add(std::initializer_list<int> draws);

    /// Draws since this object was made, scripted or real.
    std::size_t drawCount() const;

    /// Scripted draws that nobody has taken yet.
    std::size_t leftCount() const;

    /// What the generator was last seeded with since this object was made.
    std::optional<unsigned> seed() const;
};
