#include "Host/Rendering/WebPFilmSink.h"

#include "Host/Support/HostError.h"

#include <webp/encode.h>
#include <webp/mux.h>

namespace Lumivera {

namespace {

constexpr float kQuality = 80;

// Higher methods take several times as long for a few per cent in size.
constexpr int kMethod = 2;

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

} // namespace Lumivera
