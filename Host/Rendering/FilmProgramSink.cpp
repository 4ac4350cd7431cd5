#include "Host/Rendering/FilmProgramSink.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

struct FilmKind {
    const char *ending;
    const char *container;
    std::vector<std::string> codec;
};

/// Films that repeat byte for byte, and play where films are played: even sides, common colours.
const std::vector<FilmKind> &filmKinds() {
    static const std::string evenSides = "pad=ceil(iw/2)*2:ceil(ih/2)*2";
    static const std::vector<FilmKind> kinds{
        {".mp4",
         "mp4",
         {"-vf", evenSides, "-c:v", "libx264", "-preset", "veryfast", "-crf", "20", "-pix_fmt",
          "yuv420p", "-movflags", "+faststart"}},
        {".webm",
         "webm",
         {"-vf", evenSides, "-c:v", "libvpx-vp9", "-crf", "28", "-b:v", "0", "-deadline", "good",
          "-cpu-used", "4", "-pix_fmt", "yuv420p"}},
        // A frame of a GIF lasts whole hundredths of a second.
        {".gif",
         "gif",
         {"-vf", "fps=20,split[a][b];[a]palettegen=stats_mode=diff[p];[b][p]paletteuse"}},
    };
    return kinds;
}

const FilmKind *kindFor(const std::string &ending) {
    const auto &kinds = filmKinds();
    const auto kind = std::find_if(kinds.begin(), kinds.end(),
                                   [&](const FilmKind &k) { return k.ending == ending; });
    return kind == kinds.end() ? nullptr : &*kind;
}

std::string endingOf(const std::string &path) {
    return std::filesystem::path(path).extension().string();
}

void checkTarget(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw HostError(path, "is no regular file", "give another file name");
    }
}

} // namespace

bool FilmProgramSink::knowsEnding(const std::string &ending) { return kindFor(ending) != nullptr; }

FilmProgramSink::FilmProgramSink(const std::string &path, const Format &format)
    : _path(path), _target(OutputFile::targetOf(path)),
      _temporary(OutputFile::temporaryPathFor(_target)) {
    checkTarget(path);
    { const OutputFile canBeWritten(path); }
    _program = ChildProgram::start(arguments(format));
    if (!_program) {
        throw HostError(path, "needs the program ffmpeg, which is not installed",
                        "install the package ffmpeg, or end the name in .webp or .png");
    }
}

FilmProgramSink::~FilmProgramSink() {
    _program.reset();
    unlink(_temporary.c_str());
}

std::vector<std::string> FilmProgramSink::arguments(const Format &format) const {
    const FilmKind &kind = *kindFor(endingOf(_path));
    const std::string size = std::to_string(format.width) + "x" + std::to_string(format.height);
    std::vector<std::string> result{"ffmpeg",
                                    "-hide_banner",
                                    "-loglevel",
                                    "error",
                                    "-nostdin",
                                    "-y",
                                    "-f",
                                    "rawvideo",
                                    "-pixel_format",
                                    "bgra",
                                    "-video_size",
                                    size,
                                    "-framerate",
                                    std::to_string(1000 / kFrameMilliseconds),
                                    "-i",
                                    "pipe:0",
                                    "-an"};
    result.insert(result.end(), kind.codec.begin(), kind.codec.end());
    for (const char *argument : {"-map_metadata", "-1", "-fflags", "+bitexact", "-flags:v",
                                 "+bitexact", "-f", kind.container}) {
        result.emplace_back(argument);
    }
    result.push_back("file:" + _temporary);
    return result;
}

void FilmProgramSink::writeFrame(NSUInteger, std::span<const std::uint32_t> pixels) {
    if (!_program->write(pixels.data(), pixels.size_bytes())) {
        fail();
    }
}

void FilmProgramSink::finish() {
    // On a full disk some versions complain and then say that all went well.
    if (!_program->finish() || !_program->complaint().empty()) {
        fail();
    }
    if (std::rename(_temporary.c_str(), _target.c_str()) != 0) {
        throw HostError(_path, "cannot be written: " + systemErrorText(),
                        "check the folder and its permissions");
    }
}

void FilmProgramSink::fail() {
    _program->finish();
    const std::string complaint = _program->complaint();
    throw HostError(_path,
                    "ffmpeg failed: " + (complaint.empty() ? "it gave no reason" : complaint),
                    "check the free space and what your ffmpeg can encode");
}

} // namespace Lumivera
