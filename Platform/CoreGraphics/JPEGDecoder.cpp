#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <memory>
#include <turbojpeg.h>
#include <vector>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kStartOfScan = 0xda;
constexpr std::uint8_t kExifSegment = 0xe1;
constexpr std::uint8_t kProfileSegment = 0xe2;
constexpr std::uint8_t kAdobeSegment = 0xee;

/// True for the start-of-frame markers of every coding, among which three others lie.
bool isFrame(std::uint8_t kind) {
    return kind >= 0xc0 && kind <= 0xcf && kind != 0xc4 && kind != 0xc8 && kind != 0xcc;
}

std::uint32_t word(Bytes bytes, std::size_t offset) {
    return std::uint32_t{bytes[offset]} << 8 | bytes[offset + 1];
}

/// Calls `take(kind, contents)` for each segment up to the head of the first scan.
template <class Take> void forEachSegment(Bytes file, Take take) {
    std::size_t position = 2;
    while (position + 4 <= file.size() && file[position] == 0xff) {
        const std::uint8_t kind = file[position + 1];
        const std::size_t length = word(file, position + 2);
        if (kind == 0xff) {
            ++position;
            continue;
        }
        if (length >= 2 && length + 2 <= file.size() - position) {
            take(kind, file.subspan(position + 4, length - 2));
        }
        if (kind == kStartOfScan) {
            return;
        }
        position += 2 + length;
    }
}

/// True for the markers of frames that are refined scan by scan.
bool isProgressive(std::uint8_t kind) { return isFrame(kind) && (kind & 3) == 2; }

/// A profile that is larger than a segment comes in parts, each with its number and their count.
class ProfileParts {
  public:
    void add(Bytes segment) {
        constexpr std::string_view kName("ICC_PROFILE\0", 12);
        const std::size_t head = kName.size() + 2;
        if (holdsAt(segment, 0, kName) && segment.size() >= head) {
            _count = segment[kName.size() + 1];
            _parts.emplace(segment[kName.size()], segment.subspan(head));
        }
    }

    std::vector<std::uint8_t> joined() const {
        std::vector<std::uint8_t> profile;
        const bool isWhole = !_parts.empty() && _parts.size() == _count &&
                             _parts.begin()->first == 1 && _parts.rbegin()->first == _count;
        for (const auto &[number, part] : _parts) {
            if (!isWhole || profile.size() + part.size() > ColorConversion::kMaxProfileBytes) {
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

/// What a JPEG file says about its picture before the coded picture itself.
struct JPEGSegments {
    explicit JPEGSegments(Bytes file);

    /// In pixels; 0 when the file has no frame.
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    /// 1 for greys, 3 for colours, 4 for inks.
    std::uint8_t components = 0;

    /// True when the decoder must hold the coded picture as a whole, because a scan has only a part
    /// of what belongs to a pixel.
    bool isHeldWhole = false;

    /// Set by Adobe's programs, which invert inks.
    bool hasAdobeMark = false;

    /// Part of the file; empty when there are none.
    Bytes exif;

    /// Joined from its parts; empty when there is none, when a part is missing, or when it is
    /// larger than ColorConversion accepts.
    std::vector<std::uint8_t> profile;
};

JPEGSegments::JPEGSegments(Bytes file) {
    ProfileParts parts;
    forEachSegment(file, [&](std::uint8_t kind, Bytes contents) {
        if (isFrame(kind) && contents.size() >= 6) {
            height = word(contents, 1);
            width = word(contents, 3);
            components = contents[5];
            isHeldWhole = isProgressive(kind);
        } else if (kind == kStartOfScan && !contents.empty()) {
            isHeldWhole = isHeldWhole || contents[0] < components;
        } else if (kind == kAdobeSegment && holdsAt(contents, 0, "Adobe")) {
            hasAdobeMark = true;
        } else if (kind == kExifSegment && holdsAt(contents, 0, "Exif") && exif.empty()) {
            exif = contents;
        } else if (kind == kProfileSegment) {
            parts.add(contents);
        }
    });
    profile = parts.joined();
}

struct HandleDeleter {
    void operator()(void *handle) const { tjDestroy(handle); }
};
using Handle = std::unique_ptr<void, HandleDeleter>;

bool isInks(const JPEGSegments &segments) { return segments.components == 4; }

ColorConversion::Pixels pixelsOf(const JPEGSegments &segments) {
    using Pixels = ColorConversion::Pixels;
    if (isInks(segments)) {
        return segments.hasAdobeMark ? Pixels::InvertedInks : Pixels::Inks;
    }
    return segments.components == 1 ? Pixels::Greys : Pixels::Colors;
}

/// An upper bound of the scans that the decoder will meet: coded data contain no such pair of
/// bytes, but an embedded thumbnail may.
std::uint64_t countScans(Bytes file) {
    constexpr std::uint8_t kScan[] = {0xff, kStartOfScan};
    std::uint64_t count = 0;
    auto position = file.begin();
    while ((position = std::search(position, file.end(), std::begin(kScan), std::end(kScan))) !=
           file.end()) {
        ++count;
        position += sizeof kScan;
    }
    return count;
}

/// Limits the work: each scan passes over the whole picture, but may take only a few bytes. Limits
/// the memory: a component takes two bytes a pixel where the coded picture is held as a whole.
bool isWorthDecoding(Bytes file, const JPEGSegments &segments, const PictureRequest &request) {
    constexpr std::uint64_t kMaxScansOfLargest = 32;
    constexpr std::uint64_t kMaxPixels = CGImage::kMaxBytes / 4 * kMaxScansOfLargest;
    constexpr std::uint64_t kMaxHeldBytes = std::uint64_t{1} << 30;
    const std::uint64_t pixels = std::uint64_t{segments.width} * segments.height;
    return request.isAcceptable(segments.width, segments.height) &&
           countScans(file) <= kMaxPixels / pixels &&
           (!segments.isHeldWhole || pixels * 2 * segments.components <= kMaxHeldBytes);
}

/// The buffer for the picture at one of the sizes that the library can give it: eighths of its own.
PictureBuffer bufferFor(const JPEGSegments &segments, bool areColumns,
                        const PictureRequest &request) {
    const double factor = request.factorFor(segments.width, segments.height, areColumns);
    tjscalingfactor eighths{static_cast<int>(std::ceil(factor * 8)), 8};
    while (eighths.num > 1 && !CGImage::isSizeSupported(TJSCALED(segments.width, eighths),
                                                        TJSCALED(segments.height, eighths))) {
        --eighths.num;
    }
    return {TJSCALED(segments.width, eighths), TJSCALED(segments.height, eighths),
            request.maxPixels};
}

bool readPixels(void *handle, Bytes file, TJPF format, PictureBuffer &buffer) {
    constexpr int kFlags = TJFLAG_STOPONWARNING | TJFLAG_ACCURATEDCT;
    return tjDecompress2(handle, file.data(), file.size(), buffer.row(0),
                         static_cast<int>(buffer.width()), static_cast<int>(buffer.bytesPerRow()),
                         static_cast<int>(buffer.height()), format, kFlags) == 0;
}

} // namespace

Retained<CGImage> decodeJPEG(std::span<const std::uint8_t> file, const PictureRequest &request) {
    // The library's function for the header refuses some samplings that the library can decode.
    const JPEGSegments segments(file);
    const Handle handle(tjInitDecompress());
    if (!handle || !isWorthDecoding(file, segments, request)) {
        return nullptr;
    }
    const auto orientation = PictureOrientation::inExif(segments.exif);
    PictureBuffer buffer = bufferFor(segments, orientation.areColumns, request);
    const TJPF format = isInks(segments) ? TJPF_CMYK : TJPF_RGBA;
    if (!buffer || !readPixels(handle.get(), file, format, buffer)) {
        return nullptr;
    }
    if (const auto conversion =
            ColorConversion::fromProfile(segments.profile, pixelsOf(segments))) {
        buffer.convertColors(conversion);
    } else if (isInks(segments)) {
        buffer.convertFromInks(segments.hasAdobeMark);
    }
    return buffer.premultipliedImage(orientation);
}
