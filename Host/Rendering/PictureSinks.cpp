#include "Host/Rendering/PictureSinks.h"

#include "Host/Wallpapers/PictureFile.h"

#include <unistd.h>

namespace Lumivera {

PictureSink::PictureSink(const std::string &path, const Format &format)
    : _format(format), _file(path) {}

void PictureSink::writeFrame(NSUInteger, std::span<const std::uint32_t> pixels) {
    PictureFile::writePNG(_file, pixels, _format.width, _format.height,
                          PictureFile::Compression::Small);
}

void PictureSink::finish() { _file.commit(); }

std::optional<NumberPattern> NumberPattern::parse(const std::string &path) {
    const std::size_t start = path.find('%');
    if (start == std::string::npos || path.find('%', start + 1) != std::string::npos ||
        path.find('/', start) != std::string::npos) {
        return std::nullopt;
    }
    NumberPattern pattern;
    std::size_t at = start + 1;
    if (at + 1 < path.size() && path[at] == '0' && path[at + 1] >= '1' && path[at + 1] <= '9') {
        pattern._width = static_cast<std::size_t>(path[at + 1] - '0');
        at += 2;
    }
    if (at >= path.size() || path[at] != 'd') {
        return std::nullopt;
    }
    pattern._before = path.substr(0, start);
    pattern._after = path.substr(at + 1);
    return pattern;
}

std::string NumberPattern::pathFor(NSUInteger number) const {
    std::string digits = std::to_string(number);
    if (digits.size() < _width) {
        digits.insert(0, _width - digits.size(), '0');
    }
    return _before + digits + _after;
}

PictureSequenceSink::PictureSequenceSink(NumberPattern pattern, const Format &format)
    : _pattern(std::move(pattern)), _format(format) {}

PictureSequenceSink::~PictureSequenceSink() {
    for (const std::string &path : _written) {
        unlink(path.c_str());
    }
}

void PictureSequenceSink::writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) {
    OutputFile file(_pattern.pathFor(frame));
    PictureFile::writePNG(file, pixels, _format.width, _format.height,
                          PictureFile::Compression::Fast);
    file.commit();
    _written.push_back(file.path());
}

} // namespace Lumivera
