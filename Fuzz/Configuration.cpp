// A configuration file is either refused in one line that names the file, or gives values within
// their limits. When it is understood, the file with another wallpaper set means the same but for
// the wallpaper.

#include "Host/Desktop/Configuration/Configuration.h"
#include "Host/Support/HostError.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using Lumivera::Configuration;
using Lumivera::HostError;
using Lumivera::WallpaperChoice;

constexpr const char *kPath = "c.toml";
constexpr const char *kWallpaper = "/new \"one\"\\";

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void checkMessage(const HostError &error) {
    const std::string_view line = error.what();
    require(line.starts_with("c.toml:") && line.find('\n') == std::string_view::npos);
}

void checkChoice(const WallpaperChoice &choice) {
    WallpaperChoice again;
    for (const WallpaperChoice::Key &key : WallpaperChoice::keys()) {
        if (const auto text = choice.textOf(key.name)) {
            require(again.trySet(key.name, *text).empty());
        }
    }
}

void checkValues(const Configuration &configuration) {
    checkChoice(configuration.choice());
    for (const auto &[output, choice] : configuration.outputChoices()) {
        require(!output.empty());
        checkChoice(choice);
        checkChoice(configuration.choiceFor(output));
    }
    const double density = static_cast<double>(configuration.density().value_or(1));
    require(density >= 0.1 && density <= 10);
}

void changeWallpaper(std::string_view text, const Configuration &before) {
    try {
        const std::string changed = Lumivera::Configuration::withWallpaper(text, kWallpaper, kPath);
        const Configuration after = Configuration::parse(changed, kPath);
        require(after.choice().bundle == kWallpaper && after.isSameButForWallpaper(before));
    } catch (const HostError &error) {
        checkMessage(error);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    try {
        const Configuration configuration = Configuration::parse(text, kPath);
        checkValues(configuration);
        changeWallpaper(text, configuration);
    } catch (const HostError &error) {
        checkMessage(error);
    }
    return 0;
}
