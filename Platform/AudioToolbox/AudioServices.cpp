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

struct Registry {
    std::mutex mutex;
    std::map<SystemSoundID, std::shared_ptr<Sound>> sounds;
    SystemSoundID latest = 0;
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

std::shared_ptr<Sound> soundOf(SystemSoundID identifier) {
    Registry &known = registry();
    const std::lock_guard lock(known.mutex);
    const auto entry = known.sounds.find(identifier);
    return entry != known.sounds.end() ? entry->second : nullptr;
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
    known.sounds.emplace(known.latest, std::make_shared<Sound>(std::move(*wave)));
    *sound = known.latest;
    return 0;
}

void AudioServicesPlaySystemSound(SystemSoundID identifier) {
    const auto sound = soundOf(identifier);
    if (sound && !isTimeSimulated()) {
        output().play(sound);
    }
}

OSStatus AudioServicesDisposeSystemSoundID(SystemSoundID sound) {
    Registry &known = registry();
    const std::lock_guard lock(known.mutex);
    return known.sounds.erase(sound) > 0 ? 0 : kAudioServicesSystemSoundUnspecifiedError;
}

void AudioServicesCloseDevice() { output().close(); }
