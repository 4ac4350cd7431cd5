#include "Platform/CoreGraphics/JPEGSegments.h"

#include "Platform/CoreGraphics/ColorConversion.h"

#include <map>
#include <string_view>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kStartOfScan = 0xda;
constexpr std::uint8_t kExifSegment = 0xe1;
constexpr std::uint8_t kProfileSegment = 0xe2;
constexpr std::uint8_t kAdobeSegment = 0xee;

/// Of a frame's header, whatever the coding: other markers lie among theirs.
bool isFrame(std::uint8_t kind) {
    return kind >= 0xc0 && kind <= 0xcf && kind != 0xc4 && kind != 0xc8 && kind != 0xcc;
}

std::uint32_t word(Bytes bytes, std::size_t offset) {
    return std::uint32_t{bytes[offset]} << 8 | bytes[offset + 1];
}

bool startsWith(Bytes bytes, std::string_view text) {
    return std::string_view(reinterpret_cast<const char *>(bytes.data()), bytes.size())
        .starts_with(text);
}

/// Calls `take(kind, contents)` for each segment before the first scan.
template <class Take> void forEachSegment(Bytes file, Take take) {
    std::size_t position = 2;
    while (position + 4 <= file.size() && file[position] == 0xff) {
        const std::uint8_t kind = file[position + 1];
        const std::size_t length = word(file, position + 2);
        if (kind == kStartOfScan) {
            return;
        }
        if (kind == 0xff) {
            ++position;
            continue;
        }
        if (length >= 2 && length + 2 <= file.size() - position) {
            take(kind, file.subspan(position + 4, length - 2));
        }
        position += 2 + length;
    }
}

/// A profile larger than a segment comes in several, which say their number and how many they are.
class ProfileParts {
  public:
    void add(Bytes segment) {
        constexpr std::string_view kName("ICC_PROFILE\0", 12);
        const std::size_t head = kName.size() + 2;
        if (startsWith(segment, kName) && segment.size() >= head) {
            _count = segment[kName.size() + 1];
            _parts.emplace(segment[kName.size()], segment.subspan(head));
        }
    }

    std::vector<std::uint8_t> joined() const {
        std::vector<std::uint8_t> profile;
        const bool isWhole = !_parts.empty() && _parts.size() == _count &&
                             _parts.begin()->first == 1 && _parts.rbegin()->first == _count;
        for (const auto &[number, part] : _parts) {
            if (!isWhole || profile.size() + part.size() > ColorConversion::kLargestProfile) {
                return {};
            }
            profile.insert(profile.end(), part.begin(), part.end());
        }
        return profile;
    }

  private:
    std::map<std::uint8_t, Bytes> _parts;
    std::size_t _count = 0;
};

} // namespace

JPEGSegments JPEGSegments::of(std::span<const std::uint8_t> file) {
    JPEGSegments found;
    ProfileParts profile;
    forEachSegment(file, [&](std::uint8_t kind, Bytes contents) {
        if (isFrame(kind) && contents.size() >= 6) {
            found.height = word(contents, 1);
            found.width = word(contents, 3);
            found.components = contents[5];
        } else if (kind == kAdobeSegment && startsWith(contents, "Adobe")) {
            found.hasAdobeMark = true;
        } else if (kind == kExifSegment && startsWith(contents, "Exif") && found.exif.empty()) {
            found.exif = contents;
        } else if (kind == kProfileSegment) {
            profile.add(contents);
        }
    });
    found.profile = profile.joined();
    return found;
}
