#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace Lumivera {

/// A failure that the user is told about in one line: what it is about, what is wrong and, where
/// there is something, what to do. what() is that line.
class HostError : public std::runtime_error {
  public:
    HostError(std::string_view subject, std::string_view problem, std::string_view advice = {});
};

/// A command line that makes no sense; exit status 2.
class UsageError : public HostError {
  public:
    using HostError::HostError;
};

/// The text with every control character, line ends included, as "?".
std::string inOneLine(std::string_view text);

/// The system's words for the present errno.
std::string systemErrorText();

} // namespace Lumivera
