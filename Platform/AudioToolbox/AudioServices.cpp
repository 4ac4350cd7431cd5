#include "Platform/AudioToolbox/AudioServices.h"

#include "Platform/AudioToolbox/SoundOutput.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/SimulatedClock.h"

#include <chrono>
#include <map>
#include <mutex>

namespace {

constexpr std::uint64_t kMaxFileBytes = std::uint64_t{32} << 20;
constexpr std::chrono::seconds kIdleTime{3};

using SoundSink = std::function<void(const std::string &path)>;

struct RegisteredSound {
    std::string path;
    std::shared_ptr<Sound> sound;
};

struct Registry {
    std::mutex mutex;
    std::map<SystemSoundID, RegisteredSound> sounds;
    SystemSoundID latest = 0;
    std::shared_ptr<const SoundSink> sink;
};

/// Never destroyed, because another thread may still play a sound while the process ends.
Registry &registry() {
    static Registry *const instance = new Registry;
    return *instance;
}

SoundOutput &output() {
    static SoundOutput *const instance = new SoundOutput(kIdleTime);
    return *instance;
}

RegisteredSound soundOf(SystemSoundID identifier) {
    Registry &known = registry();
    const std::lock_guard lock(known.mutex);
    const auto entry = known.sounds.find(identifier);
    return entry != known.sounds.end() ? entry->second : RegisteredSound();
}

std::shared_ptr<const SoundSink> currentSink() {
    Registry &known = registry();
    const std::lock_guard lock(known.mutex);
    return known.sink;
}

/// Sounds are silent under simulated time, which runs faster than real time.
bool isTimeSimulated() { return dynamic_cast<SimulatedClock *>(&Clock::current()) != nullptr; }

} // namespace

OSStatus AudioServicesCreateSystemSoundID(const NSURL *file, SystemSoundID *sound) {
    const auto bytes = file ? readFile(file->path(), kMaxFileBytes) : std::nullopt;
    auto wave = bytes ? WaveSound::decode(*bytes) : std::nullopt;
    if (!wave || !sound) {
        return kAudioServicesSystemSoundUnspecifiedError;
    }
    Registry &known = registry();
    const std::lock_guard lock(known.mutex);
    do {
        ++known.latest;
    } while (known.latest == 0 || known.sounds.count(known.latest) > 0);
    known.sounds.emplace(known.latest,
                         RegisteredSound{file->path(), std::make_shared<Sound>(std::move(*wave))});
    *sound = known.latest;
    return 0;
}

void AudioServicesPlaySystemSound(SystemSoundID identifier) {
    const RegisteredSound known = soundOf(identifier);
    if (!known.sound || isTimeSimulated()) {
        return;
    }
    if (const auto sink = currentSink()) {
        (*sink)(known.path);
    } else {
        output().play(known.sound);
    }
}

OSStatus AudioServicesDisposeSystemSoundID(SystemSoundID sound) {
    Registry &known = registry();
    const std::lock_guard lock(known.mutex);
    return known.sounds.erase(sound) > 0 ? 0 : kAudioServicesSystemSoundUnspecifiedError;
}

void AudioServicesSetSink(std::function<void(const std::string &path)> sink) {
    auto shared = sink ? std::make_shared<const SoundSink>(std::move(sink)) : nullptr;
    Registry &known = registry();
    const std::lock_guard lock(known.mutex);
    known.sink = std::move(shared);
}

void AudioServicesCloseDevice() { output().close(); }
