#pragma once

#include "Platform/AudioToolbox/WaveSound.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

/// The sound device. The first sound starts a thread, which opens the device and converts sounds;
/// when nothing has played for the idle time, the thread closes the device and ends. It runs in
/// real time: simulated time does not know about it.
class SoundOutput {
  public:
    explicit SoundOutput(std::chrono::milliseconds idleTime) : _idleTime(idleTime) {}
    ~SoundOutput() { close(); }

    SoundOutput(const SoundOutput &) = delete;
    SoundOutput &operator=(const SoundOutput &) = delete;

    /// Plays the sound; without a device nothing is heard. Any thread; does not wait.
    void play(std::shared_ptr<Sound> sound);

    /// Stops all sounds and waits until the device is closed. Not while another thread calls
    /// play().
    void close();

    /// Waits until all sounds have ended and the device is closed. Not while another thread calls
    /// play().
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
