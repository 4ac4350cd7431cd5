#pragma once

#include "Platform/AudioToolbox/SoundMixer.h"
#include "Platform/AudioToolbox/WaveSound.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

/// A sound, made ready for the mixer when it is first played.
class Sound {
  public:
    explicit Sound(WaveSound wave) : _wave(std::move(wave)) {}

    /// For the output's thread.
    const SoundMixer::Samples &samples();

  private:
    const WaveSound _wave;
    SoundMixer::Samples _samples;
};

/// The sound device: opened for the first sound by a thread of its own, which also makes sounds
/// ready, and given back when nothing has played for a while. That thread ends with it. It lives in
/// real time: simulated time neither waits for it nor moves it.
class SoundOutput {
  public:
    explicit SoundOutput(std::chrono::milliseconds idleTime) : _idleTime(idleTime) {}
    ~SoundOutput() { close(); }

    SoundOutput(const SoundOutput &) = delete;
    SoundOutput &operator=(const SoundOutput &) = delete;

    /// Any thread; does not wait. Without a device nothing is heard.
    void play(std::shared_ptr<Sound> sound);

    /// Silences what plays and waits until the device is given back. Not beside play().
    void close();

    /// Waits until everything has played and the device is given back. Not beside play().
    void waitUntilIdle();

  private:
    void run();
    bool takeSounds(std::vector<std::shared_ptr<Sound>> &sounds);
    bool waitForSounds(std::unique_lock<std::mutex> &lock);

    const std::chrono::milliseconds _idleTime;
    SoundMixer _mixer;
    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<std::shared_ptr<Sound>> _wanted;
    bool _isRunning = false;
    bool _isClosing = false;
    std::thread _thread;
};
