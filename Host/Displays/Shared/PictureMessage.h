#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

/// The messages between the host and a viewer: another program that shows a wallpaper's pictures
/// itself. Docs/picture-protocol.md describes them. This code uses nothing else of this program,
/// because viewers are built with it, too. Any thread.
namespace Lumivera::PictureMessage {

constexpr std::uint32_t kVersion = 1;

/// Limits of what either side accepts.
constexpr std::uint32_t kMaxSide = 16384;         // pixels
constexpr std::uint64_t kMaxPixels = 64ULL << 20; // of one buffer
constexpr std::uint32_t kMaxBuffers = 4;          // of one memory
constexpr std::size_t kMaxRects = 512;            // of one frame
constexpr std::size_t kMaxName = 63;              // bytes
constexpr std::size_t kMaxWords = 119;            // bytes
constexpr double kMinDensity = 0.1;               // pixels a point
constexpr double kMaxDensity = 10;
constexpr double kMaxPlace = 65536; // points

/// No message is longer, in bytes.
constexpr std::size_t kMaxBytes = 24 + 16 * kMaxRects;

/// Whether anybody can see the output.
enum class Visibility : std::uint32_t { Visible = 0, Covered = 1, FullScreen = 2, Off = 3 };

/// From the viewer, first and whenever something changes: the output that it shows.
struct Output {
    /// As the window system names it: 1 to 63 bytes of UTF-8 without controls. Never changes.
    std::string name;
    std::uint32_t version = kVersion;
    std::uint32_t width = 0; ///< pixels
    std::uint32_t height = 0;
    Visibility visibility = Visibility::Visible;
    double density = 1; ///< pixels a point

    bool operator==(const Output &) const = default;
};

/// From the viewer: it reads that buffer no more.
struct Release {
    std::uint32_t memory = 0;
    std::uint32_t buffer = 0;

    bool operator==(const Release &) const = default;
};

/// From the viewer: a tap, in points from the output's top left corner.
struct Tap {
    double x = 0;
    double y = 0;

    bool operator==(const Tap &) const = default;
};

/// From the host, with a descriptor: sealed memory of so many buffers, one after another.
struct Memory {
    std::uint32_t number = 0;
    std::uint32_t width = 0; ///< pixels
    std::uint32_t height = 0;
    std::uint32_t buffers = 0;

    std::size_t bytes() const { return std::size_t{4} * width * height * buffers; }
    bool operator==(const Memory &) const = default;
};

/// Pixels; right and bottom lie outside.
struct Rect {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;

    bool operator==(const Rect &) const = default;
};

/// From the host: the buffer is to be shown; outside of the damage it equals the one before it of
/// the same memory. Rectangles are within any memory's limits and not empty.
struct Frame {
    std::uint32_t memory = 0;
    std::uint32_t buffer = 0;
    std::vector<Rect> damage;

    bool operator==(const Frame &) const = default;
};

/// From the host: why it ends the connection.
struct Refusal {
    std::string words;

    bool operator==(const Refusal &) const = default;
};

/// From the host: it has forgotten what was set through its control socket, because its
/// configuration has changed.
struct Forgotten {
    bool operator==(const Forgotten &) const = default;
};

/// monostate for bytes that are no message.
using FromViewer = std::variant<std::monostate, Output, Release, Tap>;
using FromHost = std::variant<std::monostate, Memory, Frame, Refusal, Forgotten>;

FromViewer parseFromViewer(const std::uint8_t *bytes, std::size_t count);
FromHost parseFromHost(const std::uint8_t *bytes, std::size_t count);

/// The bytes of a message whose fields are within the limits.
std::vector<std::uint8_t> bytesOf(const FromViewer &message);
std::vector<std::uint8_t> bytesOf(const FromHost &message);

/// The beginning of a text, of at most so many bytes and of whole characters.
std::string shortened(const std::string &text, std::size_t bytes);

/// Whether a surface may be that large.
bool isSize(std::uint64_t width, std::uint64_t height);

/// The rectangles that one frame can name: those within the size, or the whole of it when they are
/// too many.
std::vector<Rect> clipped(const std::vector<Rect> &rects, std::uint32_t width,
                          std::uint32_t height);

} // namespace Lumivera::PictureMessage
