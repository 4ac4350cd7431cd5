#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// Replaces the sound device while it lives. It hears every sample through a pipe, and the player
/// goes on only as the pipe is read, so nothing depends on time. Samples are floats, a left and a
/// right one a frame.
class SoundListener {
  public:
    SoundListener();
    ~SoundListener();
    SoundListener(const SoundListener &) = delete;
    SoundListener &operator=(const SoundListener &) = delete;

    /// The next samples, from the first one that is not silent; fewer when the device is closed or
    /// a minute passes.
    std::vector<float> readSound(std::size_t count);

    /// Everything that is played until the device is closed, while `action` runs on another thread
    /// and waits for that.
    std::vector<float> readWhile(const std::function<void()> &action);

    /// The samples without leading and trailing silence.
    static std::vector<float> withoutSilence(const std::vector<float> &samples);

  private:
    std::string path() const;
    void openPipe();
    bool readMore();

    std::string _folder;
    int _pipe = -1;
    std::vector<float> _heard;
};
