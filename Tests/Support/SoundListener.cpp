#include "Tests/Support/SoundListener.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kPatience = 60'000; // milliseconds

bool isHeard(float sample) { return sample != 0; }

} // namespace

SoundListener::SoundListener() {
    std::string folder = std::filesystem::temp_directory_path() / "lumivera-XXXXXX";
    if (!mkdtemp(folder.data())) {
        throw std::runtime_error("no temporary folder");
    }
    _folder = folder;
    if (mkfifo(path().c_str(), 0600) != 0) {
        throw std::runtime_error("no pipe");
    }
    openPipe();
    // Writing to a pipe that nobody reads then fails instead of ending the process.
    std::signal(SIGPIPE, SIG_IGN);
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILE", path().c_str(), 1);
    setenv("SDL_DISKAUDIODELAY", "0", 1);
}

SoundListener::~SoundListener() {
    unsetenv("SDL_AUDIODRIVER");
    unsetenv("SDL_DISKAUDIOFILE");
    unsetenv("SDL_DISKAUDIODELAY");
    close(_pipe);
    std::error_code ignored;
    std::filesystem::remove_all(_folder, ignored);
}

std::string SoundListener::path() const { return _folder + "/sound"; }

void SoundListener::openPipe() { _pipe = open(path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }

/// Reads more samples; false when the device was closed, or after a minute of waiting.
bool SoundListener::readMore() {
    pollfd ready{_pipe, POLLIN, 0};
    if (poll(&ready, 1, kPatience) != 1) {
        return false;
    }
    // The player writes whole frames, and so a read never gets part of one.
    float samples[4096];
    const ssize_t count = read(_pipe, samples, sizeof samples);
    if (count <= 0) {
        return false;
    }
    _heard.insert(_heard.end(), samples, samples + static_cast<std::size_t>(count) / sizeof(float));
    return true;
}

std::vector<float> SoundListener::readSound(std::size_t count) {
    const auto first = [this] { return std::find_if(_heard.begin(), _heard.end(), isHeard); };
    while (static_cast<std::size_t>(_heard.end() - first()) < count && readMore()) {
        // Leading silence need not be looked at again.
        _heard.erase(_heard.begin(), first());
    }
    _heard.erase(_heard.begin(), first());
    std::vector<float> sound(_heard.begin(), _heard.begin() + static_cast<std::ptrdiff_t>(
                                                                  std::min(count, _heard.size())));
    _heard.erase(_heard.begin(), _heard.begin() + static_cast<std::ptrdiff_t>(sound.size()));
    return sound;
}

std::vector<float> SoundListener::readWhile(const std::function<void()> &action) {
    std::thread waiting(action);
    while (readMore()) {
    }
    waiting.join();
    // A pipe that has reached its end stays there, so it is opened again.
    close(_pipe);
    openPipe();
    return std::exchange(_heard, {});
}

std::vector<float> SoundListener::withoutSilence(const std::vector<float> &samples) {
    const auto first = std::find_if(samples.begin(), samples.end(), isHeard);
    const auto last = std::find_if(samples.rbegin(), std::make_reverse_iterator(first), isHeard);
    return {first, last.base()};
}
