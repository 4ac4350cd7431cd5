#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// A number in the fewest digits that read back as the same number; never with the locale's comma.
std::string textOfNumber(double number);
std::string textOfNumber(std::int64_t number);
std::string textOfNumber(std::uint64_t number);

/// Formats rows of cells as lines with aligned columns, each cell as inOneLine() shows it. Widths
/// count Unicode characters.
std::string textTable(const std::vector<std::vector<std::string>> &rows);

/// JSON text that is safe to print: the control characters that JSON permits unescaped, such as
/// delete and the controls of writing direction, become \u escapes. Its value stays the same.
std::string safeJson(std::string_view json);

/// Prints "lumivera: " and the text as one line to stderr. Never waits for a reader for longer than
/// a tenth of a second: what a full pipe does not take is lost. Any thread.
void printError(std::string_view text);

/// Gives a printError() that prints no line twice, and 1000 lines at most. Main thread.
std::function<void(const std::string &)> printErrorOnce();

/// Prints results. A reader that went away is no failure; any other failure is a HostError.
void printToStandardOutput(std::string_view text);

/// The progress of a long job and the time that is left, on one line of stderr. Shows nothing when
/// stderr is no terminal, and nothing for jobs that end within a second.
class ProgressBar {
  public:
    ProgressBar(std::string_view label, std::size_t total);

    /// Clears the line.
    ~ProgressBar();

    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    void update(std::size_t done);

    /// The line for `done` of `total` steps that took `elapsed` seconds so far.
    static std::string line(std::string_view label, std::size_t done, std::size_t total,
                            double elapsed);

  private:
    using WallClock = std::chrono::steady_clock;

    const std::string _label;
    const std::size_t _total;
    const bool _isTerminal;
    const WallClock::time_point _start;
    WallClock::time_point _lastShown;
    bool _isShown = false;
};

} // namespace Lumivera
