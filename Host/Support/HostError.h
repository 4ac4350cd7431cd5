#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace Lumivera {

/// A failure that the user reads as one line: the subject, the problem and, where something helps,
/// advice. what() is that line.
class HostError : public std::runtime_error {
  public:
    HostError(std::string_view subject, std::string_view problem, std::string_view advice = {});
};

/// A command line that makes no sense; exit status 2.
class UsageError : public HostError {
  public:
    using HostError::HostError;
};

/// The state of one thing on this machine, for whoever looks after it.
struct Finding {
    enum class Level {
        Good,
        Lacking, ///< wallpapers work without it, but not as well
        Bad,     ///< it does not work
    };

    std::string subject;
    Level level = Level::Good;
    std::string words;

    /// What would improve it; empty when there is nothing to do.
    std::string remedy;
};

/// The text with every control character, line ends included, replaced by "?".
std::string inOneLine(std::string_view text);

/// The text for the current value of errno.
std::string systemErrorText();

} // namespace Lumivera
