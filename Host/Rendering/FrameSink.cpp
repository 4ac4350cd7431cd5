#include "Host/Rendering/FrameSink.h"

#include "Host/Rendering/FilmProgramSink.h"
#include "Host/Rendering/NumberPattern.h"
#include "Host/Rendering/PictureSequenceSink.h"
#include "Host/Rendering/PictureSink.h"
#include "Host/Rendering/WebPFilmSink.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace Lumivera {

namespace {

enum class Kind { Picture, PictureSequence, WebPFilm, OtherFilm };

Kind kindOf(const std::string &path) {
    const std::string ending = std::filesystem::path(path).extension().string();
    if (ending == ".png") {
        if (path.find('%') == std::string::npos) {
            return Kind::Picture;
        }
        if (NumberPattern::parse(path)) {
            return Kind::PictureSequence;
        }
        throw UsageError(path, "is no pattern for numbered pictures",
                         "put exactly one %d, or one like %04d, into the file name");
    }
    if (ending == ".webp") {
        return Kind::WebPFilm;
    }
    if (FilmProgramSink::knowsEnding(ending)) {
        return Kind::OtherFilm;
    }
    throw UsageError(path, "is of no known kind",
                     "end the name in .png, .webp, .mp4, .webm or .gif");
}

} // namespace

std::unique_ptr<FrameSink> FrameSink::forPath(const std::string &path, const Format &format) {
    switch (kindOf(path)) {
    case Kind::PictureSequence:
        return std::make_unique<PictureSequenceSink>(*NumberPattern::parse(path), format);
    case Kind::WebPFilm:
        return std::make_unique<WebPFilmSink>(path, format);
    case Kind::OtherFilm:
        return std::make_unique<FilmProgramSink>(path, format);
    case Kind::Picture:
        break;
    }
    return std::make_unique<PictureSink>(path, format);
}

void FrameSink::checkPath(const std::string &path) { kindOf(path); }

bool FrameSink::isOnePicture(const std::string &path) { return kindOf(path) == Kind::Picture; }

NSUInteger framesIn(double seconds) {
    const auto frames = std::llround(seconds * 1000 / kFrameMilliseconds);
    return static_cast<NSUInteger>(std::max(frames, 1LL));
}

} // namespace Lumivera
