#include "Host/Support/ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr std::size_t kCells = 30;
constexpr auto kSilence = std::chrono::seconds(1);
constexpr auto kBetweenUpdates = std::chrono::milliseconds(100);
constexpr double kLongestShown = 359999;

} // namespace

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
    if (now - _start < kSilence || now - _lastShown < kBetweenUpdates) {
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
    const int seconds = static_cast<int>(std::min(remaining + 0.5, kLongestShown));
    char time[32];
    std::snprintf(time, sizeof time, " %d:%02d left", seconds / 60, seconds % 60);
    return text + time;
}

} // namespace Lumivera
