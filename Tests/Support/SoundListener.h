#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// Stands in for the sound device while it lives and hears every sample that is played, through a
/// pipe: the player goes on only as what it played is read, so nothing depends on time. Samples are
/// floats, a left one and a right one a frame.
class SoundListener {
  public:
    SoundListener();
    ~SoundListener();
    SoundListener(const SoundListener &) = delete;
    SoundListener &operator=(const SoundListener &) = delete;

    /// The next samples, from the first one that is not silent; fewer when the device is given back
    /// or a minute passes before.
    std::vector<float> readSound(std::size_t count);

    /// Everything that is played until the device is given back, while `action` runs on a thread of
    /// its own: an action that waits for that.
    std::vector<float> readWhile(const std::function<void()> &action);

    /// Without the silence before the first sample and behind the last one.
    static std::vector<float> withoutSilence(const std::vector<float> &samples);

  private:
    std::string path() const;
    void openPipe();
    bool readMore();

    std::string _folder;
    int _pipe = -1;
    std::vector<float> _heard;
};
