#include "Host/Displays/Shared/PictureMessage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace Lumivera::PictureMessage {

namespace {

/// Numbers of the kinds, and the length of the parts that do not vary, in bytes.
enum class Kind : std::uint32_t {
    Output = 1,
    Release = 2,
    Tap = 3,
    Memory = 17,
    Frame = 18,
    Refusal = 19,
    Forgotten = 20,
};

constexpr std::size_t kHeaderBytes = 8;
constexpr std::size_t kRectBytes = 16;
constexpr std::size_t kFrameBytes = kHeaderBytes + 16;

/// Reads the fields of one message in their order. Reading beyond the end gives 0.
class Reader {
  public:
    Reader(const std::uint8_t *bytes, std::size_t count) : _bytes(bytes), _count(count) {
        _kind = number<std::uint32_t>();
        _isValid = number<std::uint32_t>() == count && count <= kMaxBytes;
    }

    Kind kind() const { return static_cast<Kind>(_kind); }

    template <class Number> Number number() {
        Number value{};
        if (_count - _at >= sizeof value) {
            std::memcpy(&value, _bytes + _at, sizeof value);
            _at += sizeof value;
        } else {
            _at = _count;
            _isValid = false;
        }
        return value;
    }

    /// A text that fills up to `capacity` bytes with zeros behind it, at least one.
    std::string text(std::size_t capacity) {
        if (_count - _at < capacity) {
            _isValid = false;
            return {};
        }
        const std::string_view field(reinterpret_cast<const char *>(_bytes + _at), capacity);
        _at += capacity;
        const std::size_t end = field.find('\0');
        require(end != std::string_view::npos &&
                field.find_first_not_of('\0', end) == std::string_view::npos);
        return std::string(field.substr(0, end));
    }

    std::size_t left() const { return _count - _at; }
    void require(bool condition) { _isValid = _isValid && condition; }

    /// True when all fields were there and nothing else.
    bool isWhole() const { return _isValid && _at == _count; }

  private:
    const std::uint8_t *const _bytes;
    const std::size_t _count;
    std::size_t _at = 0;
    std::uint32_t _kind = 0;
    bool _isValid = true;
};

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// The number of bytes, at most `bytes`, that the first whole characters take.
std::size_t wholeCharacters(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) {
        return text.size();
    }
    while (bytes > 0 && isContinuation(text[bytes])) {
        --bytes;
    }
    return bytes;
}

class Writer {
  public:
    explicit Writer(Kind kind) {
        number(kind);
        number(std::uint32_t{0});
    }

    template <class Number> void number(Number value) {
        const std::size_t at = _bytes.size();
        _bytes.resize(at + sizeof value);
        std::memcpy(_bytes.data() + at, &value, sizeof value);
    }

    void text(std::string_view words, std::size_t capacity) {
        words = words.substr(0, wholeCharacters(words, capacity - 1));
        _bytes.insert(_bytes.end(), words.begin(), words.end());
        _bytes.resize(_bytes.size() + capacity - words.size());
    }

    std::vector<std::uint8_t> take() {
        const auto length = static_cast<std::uint32_t>(_bytes.size());
        std::memcpy(_bytes.data() + sizeof length, &length, sizeof length);
        return std::move(_bytes);
    }

  private:
    std::vector<std::uint8_t> _bytes;
};

/// The length of the UTF-8 character that begins so; 0 for none, and for controls.
std::size_t lengthOfCharacter(unsigned char first) {
    if (first < 0x80) {
        return first >= 0x20 && first != 0x7F ? 1 : 0;
    }
    return first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
}

/// Excludes controls, characters in more bytes than they need, halves of pairs, and what lies
/// beyond the last character.
bool isSecondByte(unsigned char first, unsigned char second) {
    switch (first) {
    case 0xC2:
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second < 0xA0;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second < 0x90;
    default:
        return true;
    }
}

bool isText(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = lengthOfCharacter(static_cast<unsigned char>(text[0]));
        const std::string_view rest = text.substr(1, std::max<std::size_t>(length, 1) - 1);
        if (length == 0 || length > text.size() ||
            !std::all_of(rest.begin(), rest.end(), isContinuation) ||
            (length > 1 && !isSecondByte(static_cast<unsigned char>(text[0]),
                                         static_cast<unsigned char>(text[1])))) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool isPlace(double value) { return std::isfinite(value) && std::fabs(value) <= kMaxPlace; }

FromViewer checked(const Reader &reader, FromViewer message) {
    return reader.isWhole() ? message : FromViewer();
}

FromHost checked(const Reader &reader, FromHost message) {
    return reader.isWhole() ? message : FromHost();
}

FromViewer readOutput(Reader &reader) {
    Output output;
    output.version = reader.number<std::uint32_t>();
    output.width = reader.number<std::uint32_t>();
    output.height = reader.number<std::uint32_t>();
    output.visibility = reader.number<Visibility>();
    output.density = reader.number<double>();
    output.name = reader.text(kMaxName + 1);
    reader.require(isSize(output.width, output.height) && output.visibility <= Visibility::Off &&
                   output.density >= kMinDensity && output.density <= kMaxDensity &&
                   !output.name.empty() && isText(output.name));
    return checked(reader, std::move(output));
}

FromViewer readRelease(Reader &reader) {
    Release release;
    release.memory = reader.number<std::uint32_t>();
    release.buffer = reader.number<std::uint32_t>();
    reader.require(release.buffer < kMaxBuffers);
    return checked(reader, FromViewer(release));
}

FromViewer readTap(Reader &reader) {
    Tap tap;
    tap.x = reader.number<double>();
    tap.y = reader.number<double>();
    reader.require(isPlace(tap.x) && isPlace(tap.y));
    return checked(reader, FromViewer(tap));
}

FromHost readMemory(Reader &reader) {
    Memory memory;
    memory.number = reader.number<std::uint32_t>();
    memory.width = reader.number<std::uint32_t>();
    memory.height = reader.number<std::uint32_t>();
    memory.buffers = reader.number<std::uint32_t>();
    reader.require(isSize(memory.width, memory.height) && memory.buffers >= 1 &&
                   memory.buffers <= kMaxBuffers);
    return checked(reader, FromHost(memory));
}

bool isRect(const Rect &rect) {
    constexpr auto kEnd = static_cast<std::int32_t>(kMaxSide);
    return rect.left >= 0 && rect.left < rect.right && rect.right <= kEnd && rect.top >= 0 &&
           rect.top < rect.bottom && rect.bottom <= kEnd;
}

FromHost readFrame(Reader &reader) {
    Frame frame;
    frame.memory = reader.number<std::uint32_t>();
    frame.buffer = reader.number<std::uint32_t>();
    const auto count = reader.number<std::uint32_t>();
    reader.require(reader.number<std::uint32_t>() == 0 && frame.buffer < kMaxBuffers &&
                   count <= kMaxRects && reader.left() == kRectBytes * count);
    for (std::size_t i = 0; i < kMaxRects && reader.left() >= kRectBytes; ++i) {
        Rect rect;
        for (std::int32_t *side : {&rect.left, &rect.top, &rect.right, &rect.bottom}) {
            *side = reader.number<std::int32_t>();
        }
        reader.require(isRect(rect));
        frame.damage.push_back(rect);
    }
    return checked(reader, std::move(frame));
}

FromHost readRefusal(Reader &reader) {
    Refusal refusal{reader.text(kMaxWords + 1)};
    reader.require(isText(refusal.words));
    return checked(reader, std::move(refusal));
}

std::vector<std::uint8_t> write(const std::monostate &) { return {}; }

std::vector<std::uint8_t> write(const Output &output) {
    Writer writer(Kind::Output);
    writer.number(output.version);
    writer.number(output.width);
    writer.number(output.height);
    writer.number(output.visibility);
    writer.number(output.density);
    writer.text(output.name, kMaxName + 1);
    return writer.take();
}

std::vector<std::uint8_t> write(const Release &release) {
    Writer writer(Kind::Release);
    writer.number(release.memory);
    writer.number(release.buffer);
    return writer.take();
}

std::vector<std::uint8_t> write(const Tap &tap) {
    Writer writer(Kind::Tap);
    writer.number(tap.x);
    writer.number(tap.y);
    return writer.take();
}

std::vector<std::uint8_t> write(const Memory &memory) {
    Writer writer(Kind::Memory);
    writer.number(memory.number);
    writer.number(memory.width);
    writer.number(memory.height);
    writer.number(memory.buffers);
    return writer.take();
}

std::vector<std::uint8_t> write(const Frame &frame) {
    Writer writer(Kind::Frame);
    writer.number(frame.memory);
    writer.number(frame.buffer);
    writer.number(static_cast<std::uint32_t>(frame.damage.size()));
    writer.number(std::uint32_t{0});
    for (const Rect &rect : frame.damage) {
        for (const std::int32_t side : {rect.left, rect.top, rect.right, rect.bottom}) {
            writer.number(side);
        }
    }
    return writer.take();
}

std::vector<std::uint8_t> write(const Forgotten &) { return Writer(Kind::Forgotten).take(); }

std::vector<std::uint8_t> write(const Refusal &refusal) {
    Writer writer(Kind::Refusal);
    writer.text(refusal.words, kMaxWords + 1);
    return writer.take();
}

} // namespace

static_assert(kMaxBytes >= kFrameBytes + kRectBytes * kMaxRects);
static_assert(kMaxBytes >= kHeaderBytes + kMaxWords + 1);

std::string shortened(const std::string &text, std::size_t bytes) {
    return text.substr(0, wholeCharacters(text, bytes));
}

FromViewer parseFromViewer(const std::uint8_t *bytes, std::size_t count) {
    Reader reader(bytes, count);
    switch (reader.kind()) {
    case Kind::Output:
        return readOutput(reader);
    case Kind::Release:
        return readRelease(reader);
    case Kind::Tap:
        return readTap(reader);
    default:
        return {};
    }
}

FromHost parseFromHost(const std::uint8_t *bytes, std::size_t count) {
    Reader reader(bytes, count);
    switch (reader.kind()) {
    case Kind::Memory:
        return readMemory(reader);
    case Kind::Frame:
        return readFrame(reader);
    case Kind::Refusal:
        return readRefusal(reader);
    case Kind::Forgotten:
        return checked(reader, FromHost(Forgotten()));
    default:
        return {};
    }
}

std::vector<std::uint8_t> bytesOf(const FromViewer &message) {
    return std::visit([](const auto &kind) { return write(kind); }, message);
}

std::vector<std::uint8_t> bytesOf(const FromHost &message) {
    return std::visit([](const auto &kind) { return write(kind); }, message);
}

bool isSize(std::uint64_t width, std::uint64_t height) {
    return width >= 1 && width <= kMaxSide && height >= 1 && height <= kMaxSide &&
           width * height <= kMaxPixels;
}

std::vector<Rect> clipped(const std::vector<Rect> &rects, std::uint32_t width,
                          std::uint32_t height) {
    const auto right = static_cast<std::int32_t>(width);
    const auto bottom = static_cast<std::int32_t>(height);
    std::vector<Rect> inside;
    for (const Rect &rect : rects) {
        const Rect part{std::max(rect.left, 0), std::max(rect.top, 0), std::min(rect.right, right),
                        std::min(rect.bottom, bottom)};
        if (part.left < part.right && part.top < part.bottom) {
            inside.push_back(part);
        }
    }
    return inside.size() > kMaxRects ? std::vector{Rect{0, 0, right, bottom}} : inside;
}

} // namespace Lumivera::PictureMessage
