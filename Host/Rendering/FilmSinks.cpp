#include "Host/Rendering/FilmSinks.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <filesystem>
#include <webp/encode.h>
#include <webp/mux.h>

namespace Lumivera {

namespace {

constexpr float kQuality = 80;

/// Higher methods take several times as long and make the file a few per cent smaller.
constexpr int kMethod = 2;

/// Petals move little from frame to frame, so a short motion search finds them, and encoding takes
/// two thirds as long.
constexpr const char *kShortSearch = "subme=1:weightp=0:me=dia";

struct FilmKind {
    const char *ending;
    const char *container;
    // The encoder is given YUV planes instead of BGRA pixels.
    bool isPlanar;
    std::vector<std::string> codec;
};

/// Encoder options that give the same bytes on every run and a format that common players accept.
const std::vector<FilmKind> &filmKinds() {
    static const std::vector<FilmKind> kinds{
        {".mp4",
         "mp4",
         true,
         {"-c:v", "libx264", "-preset", "veryfast", "-x264-params", kShortSearch, "-crf", "20",
          "-pix_fmt", "yuv420p", "-movflags", "+faststart"}},
        {".webm",
         "webm",
         true,
         {"-c:v", "libvpx-vp9", "-crf", "28", "-b:v", "0", "-deadline", "good", "-cpu-used", "4",
          "-pix_fmt", "yuv420p"}},
        // The frame time of a GIF is a multiple of 10 ms.
        {".gif",
         "gif",
         false,
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

} // namespace

class WebPFilmSink::Encoder {
  public:
    Encoder(const OutputFile &file, const Format &format) : _file(file), _format(format) {
        WebPAnimEncoderOptions options;
        if (!WebPAnimEncoderOptionsInit(&options) || !WebPConfigInit(&_config) ||
            !WebPPictureInit(&_picture)) {
            fail("the WebP library is of another version");
        }
        options.anim_params.loop_count = 0;
        options.allow_mixed = 0;
        _config.quality = kQuality;
        _config.method = kMethod;
        _encoder = WebPAnimEncoderNew(static_cast<int>(format.width),
                                      static_cast<int>(format.height), &options);
        if (!_encoder) {
            fail("cannot be encoded: out of memory");
        }
        WebPDataInit(&_data);
    }

    ~Encoder() {
        WebPDataClear(&_data);
        WebPPictureFree(&_picture);
        WebPAnimEncoderDelete(_encoder);
    }

    Encoder(const Encoder &) = delete;
    Encoder &operator=(const Encoder &) = delete;

    void add(NSUInteger frame, std::span<const std::uint32_t> pixels) {
        _picture.use_argb = 1;
        _picture.width = static_cast<int>(_format.width);
        _picture.height = static_cast<int>(_format.height);
        if (!WebPPictureAlloc(&_picture)) {
            fail("cannot be encoded: out of memory");
        }
        for (std::size_t y = 0; y < _format.height; ++y) {
            const auto row = pixels.subspan(y * _format.width, _format.width);
            std::copy(row.begin(), row.end(),
                      _picture.argb + y * static_cast<std::size_t>(_picture.argb_stride));
        }
        check(WebPAnimEncoderAdd(_encoder, &_picture, timeOf(frame), &_config));
    }

    const WebPData &assemble() {
        check(WebPAnimEncoderAdd(_encoder, nullptr, timeOf(_format.frameCount), nullptr));
        check(WebPAnimEncoderAssemble(_encoder, &_data));
        return _data;
    }

  private:
    static int timeOf(NSUInteger frame) { return static_cast<int>(frame) * kFrameMilliseconds; }

    void check(int succeeded) const {
        if (!succeeded) {
            fail(std::string("cannot be encoded: ") + WebPAnimEncoderGetError(_encoder));
        }
    }

    [[noreturn]] void fail(const std::string &problem) const {
        throw HostError(_file.path(), problem, "try fewer frames, or another kind of film");
    }

    const OutputFile &_file;
    const Format _format;
    WebPAnimEncoder *_encoder = nullptr;
    WebPConfig _config;
    WebPPicture _picture;
    WebPData _data;
};

WebPFilmSink::WebPFilmSink(const std::string &path, const Format &format)
    : _format(format), _file(path), _encoder(std::make_unique<Encoder>(_file, format)) {}

WebPFilmSink::~WebPFilmSink() = default;

void WebPFilmSink::writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) {
    _encoder->add(frame, pixels);
}

void WebPFilmSink::finish() {
    const WebPData &film = _encoder->assemble();
    _file.write(film.bytes, film.size);
    _file.commit();
}

bool FilmProgramSink::knowsEnding(const std::string &ending) { return kindFor(ending) != nullptr; }

FilmProgramSink::FilmProgramSink(const std::string &path, const Format &format)
    : _file(path, OutputFile::Mode::RegularFile) {
    if (kindFor(endingOf(path))->isPlanar) {
        _planes.emplace(format.width, format.height);
    }
    _program = ChildProgram::start(arguments(format), {_file.descriptor()});
    if (!_program) {
        throw HostError(path, "needs the program ffmpeg, which is not installed",
                        "install the package ffmpeg, or end the name in .webp or .png");
    }
}

std::vector<std::string> FilmProgramSink::arguments(const Format &format) const {
    const FilmKind &kind = *kindFor(endingOf(_file.path()));
    const std::size_t width = _planes ? _planes->width() : format.width;
    const std::size_t height = _planes ? _planes->height() : format.height;
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    std::vector<std::string> result{"ffmpeg",
                                    "-hide_banner",
                                    "-loglevel",
                                    "error",
                                    "-nostdin",
                                    "-y",
                                    "-f",
                                    "rawvideo",
                                    "-pixel_format",
                                    _planes ? "yuv420p" : "bgra",
                                    "-video_size",
                                    size,
                                    "-framerate",
                                    std::to_string(1000 / kFrameMilliseconds),
                                    "-i",
                                    "pipe:0",
                                    "-an"};
    result.insert(result.end(), kind.codec.begin(), kind.codec.end());
    if (_planes) {
        for (const char *option : {"-colorspace", "-color_primaries", "-color_trc"}) {
            result.insert(result.end(), {option, "bt709"});
        }
        result.insert(result.end(), {"-color_range", "tv"});
    }
    for (const char *argument : {"-map_metadata", "-1", "-fflags", "+bitexact", "-flags:v",
                                 "+bitexact", "-f", kind.container}) {
        result.emplace_back(argument);
    }
    result.push_back("file:/proc/self/fd/" + std::to_string(ChildProgram::kFirstFile));
    return result;
}

void FilmProgramSink::writeFrame(NSUInteger, std::span<const std::uint32_t> pixels) {
    std::span<const std::byte> bytes = std::as_bytes(pixels);
    if (_planes) {
        _planes->take(pixels);
        bytes = std::as_bytes(_planes->bytes());
    }
    if (!_program->write(bytes.data(), bytes.size())) {
        fail();
    }
}

void FilmProgramSink::finish() {
    // On a full disk some versions of ffmpeg print an error and exit with status 0.
    if (!_program->finish() || !_program->complaint().empty()) {
        fail();
    }
    _file.commit();
}

void FilmProgramSink::fail() {
    _program->finish();
    const std::string complaint = _program->complaint();
    throw HostError(_file.path(),
                    "ffmpeg failed: " + (complaint.empty() ? "it gave no reason" : complaint),
                    "check the free space and what your ffmpeg can encode");
}

} // namespace Lumivera
