#pragma once

#include "Host/Wallpapers/BundleFolder.h"
#include "Platform/AudioToolbox/AudioServices.h"

#include <cstddef>
#include <map>
#include <string>

namespace Lumivera {

/// Plays sounds of a bundle for a process that has no sound device. The names come from that
/// process and are not trusted: only a regular file in the bundle's folder is read, and no link is
/// followed. Other names are silent. Main thread.
class BundleSounds {
  public:
    /// The most sounds of a bundle, and their size in all, in bytes.
    static constexpr std::size_t kMaxSounds = 16;
    static constexpr std::size_t kMaxBytes = std::size_t{32} << 20;

    explicit BundleSounds(BundleFolder folder) : _folder(std::move(folder)) {}
    ~BundleSounds();

    BundleSounds(const BundleSounds &) = delete;
    BundleSounds &operator=(const BundleSounds &) = delete;

    /// Plays the sound of that path in the bundle.
    void play(const std::string &name);

  private:
    SystemSoundID soundNamed(const std::string &name);
    SystemSoundID read(const std::string &name);

    const BundleFolder _folder;
    std::map<std::string, SystemSoundID> _sounds;
    std::size_t _bytes = 0;
};

} // namespace Lumivera
