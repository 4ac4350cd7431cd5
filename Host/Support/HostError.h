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

/// The text with every control character, line ends included, as an escape sequence such as \n; the
/// one way in which names and words of others reach a terminal or a log.
std::string inOneLine(std::string_view text);

/// The text for the current value of errno.
std::string systemErrorText();

} // namespace Lumivera
