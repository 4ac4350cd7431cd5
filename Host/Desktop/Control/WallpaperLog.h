#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace Lumivera {

/// A line that a wallpaper has logged or printed, or that the host says about it.
struct WallpaperLine {
    enum class Source { Host, Log, Print };

    Source source = Source::Host;

    /// The output that shows it, and its path.
    std::string output;
    std::string bundle;

    /// In one line; that of the host is whole, with the output and the bundle.
    std::string text;

    /// Counted from 1, in the order in which they came.
    std::uint64_t number = 0;

    /// In seconds since 1970.
    double time = 0;
};

/// "host", "log" or "print".
std::string_view nameOf(WallpaperLine::Source source);

/// Keeps the latest lines of wallpapers and about them. However much wallpapers say, the host's
/// lines stay, and no line is longer than kMaxText bytes. Main thread.
class WallpaperLog {
  public:
    /// Limits of the host's lines, and of those of wallpapers, by themselves.
    static constexpr std::size_t kMaxLines = 1000;
    static constexpr std::size_t kMaxBytes = std::size_t{256} * 1024;

    static constexpr std::size_t kMaxText = 2000;

    /// Gives the line its number and its time, and forgets the oldest ones beyond the limits.
    void add(WallpaperLine line);

    /// In the order of their numbers, some of which are forgotten.
    const std::deque<WallpaperLine> &lines() const { return _lines; }

    /// The number of the latest line; 0 before the first.
    std::uint64_t latest() const { return _latest; }

  private:
    struct Amount {
        std::size_t lines = 0;
        std::size_t bytes = 0;
    };

    static std::size_t bytesOf(const WallpaperLine &line);
    static bool isOfHost(const WallpaperLine &line);
    void forgetOldest(bool ofHost);

    std::deque<WallpaperLine> _lines;
    Amount _amounts[2];
    std::uint64_t _latest = 0;
};

} // namespace Lumivera
