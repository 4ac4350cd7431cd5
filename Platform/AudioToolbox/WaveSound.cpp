#include "Platform/AudioToolbox/WaveSound.h"

#include <SDL_audio.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kChunkHeader = 8;
constexpr std::size_t kFileHeader = 12;

std::uint32_t word(Bytes bytes, std::size_t at) {
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 |
           std::uint32_t{bytes[at + 3]} << 24;
}

std::uint32_t half(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at] | bytes[at + 1] << 8);
}

bool isText(Bytes bytes, std::size_t at, const char *text) {
    return std::memcmp(bytes.data() + at, text, 4) == 0;
}

/// The contents of the "fmt " and "data" chunks.
struct Chunks {
    Bytes format;
    Bytes data;
};

/// Finds the chunks; nothing when one is missing or a size is beyond the file.
std::optional<Chunks> chunksOf(Bytes file) {
    if (file.size() < kFileHeader || !isText(file, 0, "RIFF") || !isText(file, 8, "WAVE") ||
        word(file, 4) > file.size() - kChunkHeader || word(file, 4) < 4) {
        return std::nullopt;
    }
    Chunks found;
    Bytes rest = file.subspan(kFileHeader, word(file, 4) - 4);
    while (rest.size() >= kChunkHeader && found.data.empty()) {
        const std::size_t size = word(rest, 4);
        if (size > rest.size() - kChunkHeader) {
            return std::nullopt;
        }
        const Bytes content = rest.subspan(kChunkHeader, size);
        if (isText(rest, 0, "fmt ") && found.format.empty()) {
            found.format = content;
        } else if (isText(rest, 0, "data")) {
            found.data = content;
        }
        // Chunks begin at even offsets.
        rest = rest.subspan(std::min(rest.size(), kChunkHeader + size + size % 2));
    }
    return found.format.empty() || found.data.empty() ? std::nullopt : std::optional(found);
}

/// The parts of the "fmt " chunk that the sound's length depends on.
struct Layout {
    static constexpr std::uint32_t kPCM = 1;
    static constexpr std::uint32_t kMicrosoftADPCM = 2;
    static constexpr std::uint32_t kIMAADPCM = 0x11;
    static constexpr std::uint32_t kExtensible = 0xFFFE;

    std::uint32_t encoding;
    std::uint32_t channels;
    std::uint32_t framesPerSecond;
    std::uint32_t bytesPerBlock;
    std::uint32_t bitsPerSample;

    explicit Layout(Bytes format)
        : encoding(half(format, 0)), channels(half(format, 2)), framesPerSecond(word(format, 4)),
          bytesPerBlock(half(format, 12)), bitsPerSample(half(format, 14)) {
        constexpr std::size_t kSubformat = 24;
        if (encoding == kExtensible && format.size() >= kSubformat + 2) {
            encoding = half(format, kSubformat);
        }
    }

    bool isADPCM() const { return encoding == kMicrosoftADPCM || encoding == kIMAADPCM; }

    bool isSensible() const {
        constexpr std::uint32_t kKnown[] = {kPCM, kMicrosoftADPCM, 3, 6, 7, kIMAADPCM};
        return std::find(std::begin(kKnown), std::end(kKnown), encoding) != std::end(kKnown) &&
               channels >= 1 && channels <= 8 && framesPerSecond >= 1000 &&
               framesPerSecond <= 192'000 && bytesPerBlock > 0 &&
               (isADPCM() || bytesPerBlock * 8 == channels * bitsPerSample);
    }

    /// An upper bound: a block of ADPCM begins with two uncompressed samples.
    std::uint64_t framesIn(std::size_t byteCount) const {
        const std::uint64_t count = byteCount;
        return isADPCM() ? count * 2 / channels + 2 * (count / bytesPerBlock)
                         : count / bytesPerBlock;
    }
};

void appendWord(std::vector<std::uint8_t> &bytes, std::size_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void appendText(std::vector<std::uint8_t> &bytes, const char *text) {
    bytes.insert(bytes.end(), text, text + 4);
}

void appendChunk(std::vector<std::uint8_t> &bytes, const char *name, Bytes content) {
    appendText(bytes, name);
    appendWord(bytes, content.size());
    bytes.insert(bytes.end(), content.begin(), content.end());
    if (content.size() % 2 != 0) {
        bytes.push_back(0);
    }
}

/// A file that holds only the two checked chunks.
std::vector<std::uint8_t> plainFile(const Chunks &chunks) {
    std::vector<std::uint8_t> body;
    body.reserve(chunks.data.size() + chunks.format.size() + 32);
    appendText(body, "RIFF");
    appendWord(body, 4 + 2 * kChunkHeader + chunks.format.size() + chunks.format.size() % 2 +
                         chunks.data.size() + chunks.data.size() % 2);
    appendText(body, "WAVE");
    appendChunk(body, "fmt ", chunks.format);
    appendChunk(body, "data", chunks.data);
    return body;
}

/// Converts 32-bit integers to floats, rounded once; SDL would divide by slightly less than 2^31.
std::vector<std::uint8_t> floatsOf(Bytes numbers) {
    std::vector<std::uint8_t> floats(numbers.size());
    for (std::size_t at = 0; at + sizeof(float) <= numbers.size(); at += sizeof(float)) {
        const auto number = static_cast<std::int32_t>(word(numbers, at));
        const auto value = static_cast<float>(number / 2147483648.0);
        std::memcpy(floats.data() + at, &value, sizeof value);
    }
    return floats;
}

} // namespace

std::optional<WaveSound> WaveSound::decode(std::span<const std::uint8_t> file) {
    constexpr std::size_t kMinFormatBytes = 16;
    constexpr std::size_t kMaxFormatBytes = 1024;
    const auto chunks = chunksOf(file);
    if (!chunks || chunks->format.size() < kMinFormatBytes ||
        chunks->format.size() > kMaxFormatBytes) {
        return std::nullopt;
    }
    const Layout layout(chunks->format);
    if (!layout.isSensible() || layout.framesIn(chunks->data.size()) == 0 ||
        layout.framesIn(chunks->data.size()) >
            std::uint64_t{layout.framesPerSecond} * kMaxSeconds) {
        return std::nullopt;
    }
    const std::vector<std::uint8_t> plain = plainFile(*chunks);
    SDL_AudioSpec spec{};
    std::uint8_t *samples = nullptr;
    std::uint32_t length = 0;
    SDL_RWops *reader = SDL_RWFromConstMem(plain.data(), static_cast<int>(plain.size()));
    if (!reader || !SDL_LoadWAV_RW(reader, 1, &spec, &samples, &length)) {
        return std::nullopt;
    }
    WaveSound sound;
    sound._bytes.assign(samples, samples + length);
    SDL_FreeWAV(samples);
    sound._format = spec.format;
    if (spec.format == AUDIO_S32LSB) {
        sound._bytes = floatsOf(sound._bytes);
        sound._format = AUDIO_F32SYS;
    }
    sound._channels = spec.channels;
    sound._framesPerSecond = spec.freq;
    return sound._bytes.empty() ? std::nullopt : std::optional(std::move(sound));
}

/// Converts the sound in one piece, because SDL_AudioStream loses the end of a resampled sound.
std::vector<float> WaveSound::mixableSamples() const {
    SDL_AudioCVT conversion{};
    if (SDL_BuildAudioCVT(&conversion, _format, _channels, _framesPerSecond, AUDIO_F32SYS,
                          SoundMixer::kChannels, SoundMixer::kFramesPerSecond) < 0) {
        return {};
    }
    std::vector<float> room(
        _bytes.size() * static_cast<std::size_t>(conversion.len_mult) / sizeof(float) + 1);
    std::memcpy(room.data(), _bytes.data(), _bytes.size());
    conversion.buf = reinterpret_cast<std::uint8_t *>(room.data());
    conversion.len = static_cast<int>(_bytes.size());
    if (SDL_ConvertAudio(&conversion) != 0) {
        return {};
    }
    const auto count = static_cast<std::size_t>(conversion.len_cvt) / sizeof(float);
    std::vector<float> result(room.data(), room.data() + count);
    // A file of floats may hold NaN or infinity, which would spoil the sum of all sounds.
    std::replace_if(
        result.begin(), result.end(), [](float s) { return !std::isfinite(s); }, 0.0F);
    return result;
}

const SoundMixer::Samples &Sound::samples() {
    if (!_samples) {
        _samples = std::make_shared<const std::vector<float>>(_wave.mixableSamples());
    }
    return _samples;
}
