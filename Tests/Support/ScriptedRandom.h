#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>

/// Overrides the C library's random numbers: counts the draws of every thread, and answers them
/// with scripted numbers while there are any, then with real ones. One object at a time; the script
/// ends with it.
class ScriptedRandom {
  public:
    ScriptedRandom(std::initializer_list<int> draws = {});
    ~ScriptedRandom();
    ScriptedRandom(const ScriptedRandom &) = delete;
    ScriptedRandom &operator=(const ScriptedRandom &) = delete;

    /// Appends more draws to the script.
    void add(std::initializer_list<int> draws);

    /// Draws since this object was made, scripted or real.
    std::size_t drawCount() const;

    /// How many scripted draws are left.
    std::size_t leftCount() const;

    /// The last seed since this object was made; nothing when there was none.
    std::optional<unsigned> seed() const;
};
