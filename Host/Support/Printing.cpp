#include "Host/Support/Printing.h"

#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <memory>
#include <poll.h>
#include <set>
#include <sys/socket.h>
#include <unistd.h>
#include <utf8.h>

namespace Lumivera {

namespace {

constexpr std::size_t kCells = 30;
constexpr auto kSilentTime = std::chrono::seconds(1);
constexpr auto kUpdateInterval = std::chrono::milliseconds(100);
constexpr double kMaxShownSeconds = 359999;
constexpr int kErrorPatience = 100; // milliseconds

template <typename Number> std::string shortestText(Number number) {
    std::array<char, 32> text;
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), result.ptr};
}

/// Writes a part that is small enough for a pipe to take whole. False when nobody reads.
bool writeWithin(std::string_view part, int milliseconds) {
    pollfd state{STDERR_FILENO, POLLOUT, 0};
    if (poll(&state, 1, milliseconds) <= 0) {
        return false;
    }
    const auto size = static_cast<ssize_t>(part.size());
    const ssize_t sent = send(STDERR_FILENO, part.data(), part.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    return sent < 0 && errno == ENOTSOCK ? write(STDERR_FILENO, part.data(), part.size()) == size
                                         : sent == size;
}

/// Counts every byte that is no UTF-8 continuation byte.
std::size_t widthOf(const std::string &text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
    }));
}

} // namespace

std::string textOfNumber(double number) { return shortestText(number); }
std::string textOfNumber(std::int64_t number) { return shortestText(number); }
std::string textOfNumber(std::uint64_t number) { return shortestText(number); }

std::string textTable(const std::vector<std::vector<std::string>> &rows) {
    std::vector<std::size_t> widths;
    for (const auto &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], widthOf(inOneLine(row[i])));
        }
    }
    std::string text;
    for (const auto &row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string cell = inOneLine(row[i]);
            text += cell;
            if (i + 1 < row.size()) {
                text.append(widths[i] - widthOf(cell) + 2, ' ');
            }
        }
        text += '\n';
    }
    return text;
}

std::string safeJson(std::string_view json) {
    std::string result;
    result.reserve(json.size());
    const std::string valid = utf8::replace_invalid(json, U'\uFFFD');
    for (auto position = valid.begin(); position != valid.end();) {
        const auto start = position;
        const char32_t character = utf8::unchecked::next(position);
        if (character >= 0x7f && isControlCharacter(character)) {
            char escape[16];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
            result += escape;
        } else {
            result.append(start, position);
        }
    }
    return result;
}

void printError(std::string_view text) {
    static std::atomic<bool> isStuck{false};
    const std::string line = "lumivera: " + inOneLine(text) + "\n";
    for (std::string_view rest = line; !rest.empty();) {
        const std::string_view part = rest.substr(0, PIPE_BUF);
        if (!writeWithin(part, isStuck ? 0 : kErrorPatience)) {
            isStuck = true;
            return;
        }
        isStuck = false;
        rest.remove_prefix(part.size());
    }
}

std::function<void(const std::string &)> printErrorOnce() {
    constexpr std::size_t kMaxLines = 1000;
    return [printed = std::make_shared<std::set<std::string>>()](const std::string &line) {
        if (printed->size() < kMaxLines && printed->insert(line).second) {
            printError(line);
        }
    };
}

void printToStandardOutput(std::string_view text) {
    const bool written =
        std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (!written && errno != EPIPE) {
        throw HostError("standard output", "cannot be written: " + systemErrorText());
    }
}

ProgressBar::ProgressBar(std::string_view label, std::size_t total)
    : _label(label), _total(total), _isTerminal(isatty(STDERR_FILENO) == 1),
      _start(WallClock::now()), _lastShown(_start) {}

ProgressBar::~ProgressBar() {
    if (_isShown) {
        std::fputs("\r\033[K", stderr);
    }
}

void ProgressBar::update(std::size_t done) {
    if (!_isTerminal) {
        return;
    }
    const auto now = WallClock::now();
    if (now - _start < kSilentTime || now - _lastShown < kUpdateInterval) {
        return;
    }
    _lastShown = now;
    _isShown = true;
    const std::chrono::duration<double> elapsed = now - _start;
    std::fprintf(stderr, "\r%s\033[K", line(_label, done, _total, elapsed.count()).c_str());
}

std::string ProgressBar::line(std::string_view label, std::size_t done, std::size_t total,
                              double elapsed) {
    const std::size_t reached = total == 0 ? 0 : std::min(done, total);
    const std::size_t cells = total == 0 ? 0 : reached * kCells / total;
    std::string text(label);
    text.append(" [").append(cells, '#').append(kCells - cells, '-').append("] ");
    text += std::to_string(total == 0 ? 0 : reached * 100 / total) + "%";
    if (reached == 0) {
        return text;
    }
    const double remaining =
        elapsed / static_cast<double>(reached) * static_cast<double>(total - reached);
    const int seconds = static_cast<int>(std::min(remaining + 0.5, kMaxShownSeconds));
    char time[32];
    std::snprintf(time, sizeof time, " %d:%02d left", seconds / 60, seconds % 60);
    return text + time;
}

} // namespace Lumivera
