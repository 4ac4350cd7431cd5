#include "Platform/AudioToolbox/SoundOutput.h"

#include <SDL.h>

#include <optional>
#include <utility>

namespace {

constexpr std::uint16_t kFramesAtOnce = 1024;

void fill(void *mixer, std::uint8_t *bytes, int length) {
    auto *samples = reinterpret_cast<float *>(bytes);
    static_cast<SoundMixer *>(mixer)->mix(
        {samples, static_cast<std::size_t>(length) / sizeof(float)});
}

/// The open sound device, which plays the mixer's output.
class Device {
  public:
    explicit Device(SoundMixer &mixer) {
        // SDL would otherwise install handlers for SIGINT and SIGTERM.
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        _isInitialised = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
        SDL_AudioSpec wanted{};
        wanted.freq = SoundMixer::kFramesPerSecond;
        wanted.format = AUDIO_F32SYS;
        wanted.channels = SoundMixer::kChannels;
        wanted.samples = kFramesAtOnce;
        wanted.callback = fill;
        wanted.userdata = &mixer;
        _device = _isInitialised ? SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0) : 0;
        if (_device != 0) {
            SDL_PauseAudioDevice(_device, 0);
        }
    }

    ~Device() {
        if (_device != 0) {
            SDL_CloseAudioDevice(_device);
        }
        if (_isInitialised) {
            SDL_QuitSubSystem(SDL_INIT_AUDIO);
        }
    }

    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    bool isOpen() const { return _device != 0; }

  private:
    bool _isInitialised = false;
    SDL_AudioDeviceID _device = 0;
};

} // namespace

void SoundOutput::play(std::shared_ptr<Sound> sound) {
    const std::lock_guard lock(_mutex);
    _wanted.push_back(std::move(sound));
    if (std::exchange(_isRunning, true)) {
        _changed.notify_all();
        return;
    }
    if (_thread.joinable()) {
        _thread.join();
    }
    _isClosing = false;
    _thread = std::thread([this] {
        run();
        // Frees SDL's data of this thread, which SDL frees by itself only for its own threads.
        SDL_TLSCleanup();
    });
}

void SoundOutput::close() {
    {
        const std::lock_guard lock(_mutex);
        _isClosing = true;
        _changed.notify_all();
    }
    waitUntilIdle();
}

void SoundOutput::waitUntilIdle() {
    if (_thread.joinable()) {
        _thread.join();
    }
}

void SoundOutput::run() {
    std::vector<std::shared_ptr<Sound>> sounds;
    do {
        std::optional<Device> device;
        while (takeSounds(sounds)) {
            if (!device || !device->isOpen()) {
                device.reset();
                device.emplace(_mixer);
            }
            for (const auto &sound : sounds) {
                if (device->isOpen()) {
                    _mixer.play(sound->samples());
                }
            }
        }
        device.reset();
        _mixer.stopAll();
        const std::lock_guard lock(_mutex);
        _isRunning = !_isClosing && !_wanted.empty();
        if (!_isRunning) {
            _wanted.clear();
            return;
        }
    } while (true);
}

/// Waits for sounds; false when the device is to be closed.
bool SoundOutput::takeSounds(std::vector<std::shared_ptr<Sound>> &sounds) {
    sounds.clear();
    std::unique_lock lock(_mutex);
    while (_wanted.empty() && !_isClosing) {
        if (!waitForSounds(lock)) {
            return false;
        }
    }
    sounds.swap(_wanted);
    return !_isClosing;
}

/// Waits until there are sounds; false when the last one has ended and the idle time is over.
bool SoundOutput::waitForSounds(std::unique_lock<std::mutex> &lock) {
    const std::chrono::duration<double> playing(static_cast<double>(_mixer.framesLeft()) /
                                                SoundMixer::kFramesPerSecond);
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::duration_cast<std::chrono::milliseconds>(playing) +
                     std::max(_idleTime, std::chrono::milliseconds(1));
    const bool isWanted =
        _changed.wait_until(lock, end, [this] { return !_wanted.empty() || _isClosing; });
    return isWanted || _mixer.framesLeft() > 0;
}
