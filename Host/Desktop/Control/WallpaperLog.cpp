#include "Host/Desktop/Control/WallpaperLog.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace Lumivera {

std::string_view nameOf(WallpaperLine::Source source) {
    switch (source) {
    case WallpaperLine::Source::Host:
        return "host";
    case WallpaperLine::Source::Log:
        return "log";
    case WallpaperLine::Source::Print:
        break;
    }
    return "print";
}

void WallpaperLog::add(WallpaperLine line) {
    const std::chrono::duration<double> time = std::chrono::system_clock::now().time_since_epoch();
    line.text = inOneLine(line.text).substr(0, kMaxText);
    line.number = ++_latest;
    line.time = time.count();
    const bool ofHost = isOfHost(line);
    Amount &amount = _amounts[ofHost];
    ++amount.lines;
    amount.bytes += bytesOf(line);
    _lines.push_back(std::move(line));
    while (amount.lines > kMaxLines || amount.bytes > kMaxBytes) {
        forgetOldest(ofHost);
    }
}

std::size_t WallpaperLog::bytesOf(const WallpaperLine &line) {
    return line.output.size() + line.bundle.size() + line.text.size();
}

bool WallpaperLog::isOfHost(const WallpaperLine &line) {
    return line.source == WallpaperLine::Source::Host;
}

void WallpaperLog::forgetOldest(bool ofHost) {
    const auto oldest =
        std::find_if(_lines.begin(), _lines.end(),
                     [ofHost](const WallpaperLine &line) { return isOfHost(line) == ofHost; });
    --_amounts[ofHost].lines;
    _amounts[ofHost].bytes -= bytesOf(*oldest);
    _lines.erase(oldest);
}

} // namespace Lumivera
