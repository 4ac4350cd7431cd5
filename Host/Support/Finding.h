#pragma once

#include <string>

namespace Lumivera {

/// What somebody who looks after this machine should know: how it is with something, in words, and
/// what would make it better.
struct Finding {
    enum class Level {
        Good,
        Lacking, ///< it works without, not as well
        Bad,     ///< it does not work
    };

    std::string subject;
    Level level = Level::Good;
    std::string words;

    /// Empty when there is nothing to do.
    std::string remedy;
};

} // namespace Lumivera
