#include "Host/Rendering/FrameSink.h"

#include "Host/Rendering/FilmSinks.h"
#include "Host/Rendering/PictureSinks.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Platform/Foundation/NSRunLoop.h"

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

NSUInteger framesIn(double seconds) {
    const auto frames = std::llround(seconds * 1000 / kFrameMilliseconds);
    return static_cast<NSUInteger>(std::max(frames, 1LL));
}

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

RenderingRun::RenderingRun(std::string subject)
    : _subject(std::move(subject)), _signals([this] {
          _isInterrupted = true;
          NSRunLoop::mainRunLoop().stop();
      }) {}

void RenderingRun::renderFrames(NSUInteger count,
                                const std::function<void(NSUInteger frame)> &render) const {
    ProgressBar progress("rendering", count);
    for (NSUInteger frame = 0; frame < count; ++frame) {
        render(frame);
        if (_isInterrupted) {
            throw HostError(_subject, "was interrupted; nothing was kept");
        }
        progress.update(frame + 1);
    }
}

} // namespace Lumivera
