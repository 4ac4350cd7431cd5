#include "Host/Desktop/Backgrounds/DesktopProcess.h"
#include "Host/Desktop/Backgrounds/DesktopProgram.h"
#include "Host/Desktop/Backgrounds/KeyFileText.h"
#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/Foundation/NSFileManager.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxFile = std::uint64_t{1} << 20;

/// The program writes its file a moment after it was told a new value.
constexpr const char *kSecondsToWrite = "0.5";

std::string textOf(const std::string &path) {
    const auto bytes = readFile(path, kMaxFile);
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

/// The names of the folders in a folder.
std::vector<std::string> profilesIn(const std::string &folder) {
    auto names = NSFileManager::contentsOfDirectoryAtPath_error(folder, nullptr)
                     .value_or(std::vector<std::string>());
    std::erase_if(names, [&folder](const std::string &name) {
        std::error_code error;
        return !fs::is_directory(fs::path(folder) / name, error);
    });
    return names;
}

/// A key is "profile/name".
std::string profileOf(const std::string &key) { return key.substr(0, key.rfind('/')); }
std::string nameOf(const std::string &key) { return key.substr(key.rfind('/') + 1); }

std::string valueOf(const DesktopSettings &settings, const std::string &key) {
    const auto found = settings.find(key);
    return found == settings.end() ? "" : found->second.value_or("");
}

/// What the two file managers have in common: they keep their settings in a file for each profile,
/// change them by a command line while they run, and read them again when they start.
class FileManager : public DesktopProgram {
  public:
    bool hasPicturePerOutput() const override { return false; }
    std::vector<ToolCall> callsToRead() const override { return {}; }

    /// The settings of all profiles: the program may run with another one now than when a value was
    /// kept, or not run at all.
    DesktopSettings settingsFrom(const std::vector<ToolResult> &) const override {
        DesktopSettings settings;
        for (const std::string &profile : profilesIn(Places::configurationPath(_program))) {
            addSettings(profile, textOf(pathFor(profile)), settings);
        }
        const auto process = findProcess();
        const std::string profile = process ? process->profile(_standardProfile) : "";
        std::error_code error;
        if (process && !fs::exists(pathFor(profile), error)) {
            addSettings(profile, textOf(systemPathFor(profile)), settings);
        }
        return settings;
    }

    std::vector<ToolCall> set(const DesktopSettings &values) const override {
        const auto process = findProcess();
        std::map<std::string, DesktopSettings> valuesByProfile;
        for (const auto &[key, value] : values) {
            valuesByProfile[profileOf(key)][nameOf(key)] = value;
        }
        std::vector<ToolCall> calls;
        for (const auto &[profile, ownValues] : valuesByProfile) {
            if (process && process->profile(_standardProfile) == profile) {
                calls.push_back(callToSet(ownValues));
                calls.push_back({{"sleep", kSecondsToWrite}});
            } else {
                write(profile, ownValues);
            }
        }
        return calls;
    }

    std::string groupOf(const std::string &key) const override { return profileOf(key); }

  protected:
    FileManager(std::string program, std::string standardProfile, std::string file,
                std::string group, std::string processFolder)
        : _program(std::move(program)), _standardProfile(std::move(standardProfile)),
          _file(std::move(file)), _group(std::move(group)),
          _processFolder(std::move(processFolder)) {}

    std::optional<DesktopProcess> findProcess() const {
        return DesktopProcess::find(_program, _processFolder);
    }

    /// The profile of the running program. Throws a HostError when it does not run.
    std::string runningProfile() const {
        const auto process = findProcess();
        if (!process) {
            throw HostError(settingsName(), "cannot be changed: no " + _program +
                                                " --desktop of this user runs on this display");
        }
        return process->profile(_standardProfile);
    }

    /// The names of the keys that matter.
    virtual std::vector<std::string> names() const = 0;
    virtual std::string decoded(const std::string &value) const = 0;
    virtual std::string encoded(const std::string &text) const = 0;

    /// The command that sets the values; their keys are without a profile.
    virtual ToolCall callToSet(const DesktopSettings &values) const = 0;

  private:
    std::string pathFor(const std::string &profile) const {
        return Places::configurationPath(_program + "/" + profile + "/" + _file);
    }

    /// The file that counts until the user has one.
    std::string systemPathFor(const std::string &profile) const {
        const char *variable = std::getenv("XDG_CONFIG_DIRS");
        std::stringstream folders(variable && *variable ? variable : "/etc/xdg");
        std::error_code error;
        for (std::string folder; std::getline(folders, folder, ':');) {
            const std::string path = folder + "/" + _program + "/" + profile + "/" + _file;
            if (fs::is_regular_file(path, error)) {
                return path;
            }
        }
        return {};
    }

    void addSettings(const std::string &profile, const std::string &text,
                     DesktopSettings &settings) const {
        for (const std::string &name : names()) {
            const auto value = KeyFileText::valueIn(text, _group, name);
            settings[profile + "/" + name] = value ? std::optional(decoded(*value)) : std::nullopt;
        }
    }

    /// For a program that does not run: it would overwrite the file.
    void write(const std::string &profile, const DesktopSettings &values) const {
        const std::string path = pathFor(profile);
        std::string text = textOf(path);
        for (const auto &[name, value] : values) {
            text = KeyFileText::withValue(text, _group, name,
                                          value ? std::optional(encoded(*value)) : std::nullopt);
        }
        OutputFile file(path, OutputFile::Mode::RegularFile);
        file.write(text);
        file.commit();
    }

    const std::string _program;
    const std::string _standardProfile;
    const std::string _file;
    const std::string _group;
    const std::string _processFolder;
};

constexpr const char *kPicture = "wallpaper";
constexpr const char *kMode = "wallpaper_mode";
constexpr const char *kIsCommon = "wallpaper_common";

/// Its command line changes its first screen alone, whose settings are in this file.
class PcmanfmProgram final : public FileManager {
  public:
    explicit PcmanfmProgram(std::string processFolder)
        : FileManager("pcmanfm", "default", "desktop-items-0.conf", "*", std::move(processFolder)) {
    }

    std::string windowClass() const override { return "pcmanfm"; }
    std::string settingsName() const override { return "PCManFM's desktop preferences"; }
    bool canUnset() const override { return false; }

    DesktopSettings settingsFor(const DesktopPictures &pictures,
                                const DesktopSettings &present) const override {
        const std::string start = runningProfile() + "/";
        if (valueOf(present, start + kIsCommon) == "0") {
            throw HostError(settingsName(), "give each workspace its own wallpaper",
                            "choose the same wallpaper for all of them to have the background");
        }
        return {{start + kPicture, pictures.screen}, {start + kMode, "screen"}};
    }

    std::string noteAbout(const DesktopPictures &pictures) const override {
        return pictures.outputs.size() > 1
                   ? "PCManFM takes a new wallpaper for its first screen only; the other screens "
                     "keep theirs"
                   : "";
    }

  protected:
    std::vector<std::string> names() const override { return {kPicture, kMode, kIsCommon}; }
    std::string decoded(const std::string &value) const override {
        return KeyFileText::fromGLib(value);
    }
    std::string encoded(const std::string &text) const override {
        return KeyFileText::toGLib(text);
    }

    /// Without a mode it shows a plain colour.
    ToolCall callToSet(const DesktopSettings &values) const override {
        ToolCall call{{"pcmanfm"}};
        const std::string picture = valueOf(values, kPicture);
        if (!picture.empty()) {
            call.arguments.push_back("--set-wallpaper=" + picture);
        }
        if (values.contains(kMode)) {
            const std::string mode = valueOf(values, kMode);
            call.arguments.push_back("--wallpaper-mode=" + (mode.empty() ? "color" : mode));
        }
        return call;
    }
};

constexpr const char *kQtPicture = "Wallpaper";
constexpr const char *kQtMode = "WallpaperMode";
constexpr const char *kQtSlideFolder = "WallpaperDirectory";
constexpr const char *kQtSlideInterval = "SlideShowInterval";
constexpr const char *kQtIsPerScreen = "PerScreenWallpaper";

/// Its command line cannot take back a mode that it has set, nor set a wallpaper that is missing.
/// So the mode stays: a picture of the screen's size looks the same in each of them.
class PcmanfmQtProgram final : public FileManager {
  public:
    explicit PcmanfmQtProgram(std::string processFolder)
        : FileManager("pcmanfm-qt", "default", "settings.conf", "Desktop",
                      std::move(processFolder)) {}

    std::string windowClass() const override { return "pcmanfm-qt"; }
    std::string settingsName() const override { return "PCManFM-Qt's desktop preferences"; }
    bool canUnset() const override { return false; }

    DesktopSettings settingsFor(const DesktopPictures &pictures,
                                const DesktopSettings &present) const override {
        const std::string start = runningProfile() + "/";
        const auto value = [&](const char *name) { return valueOf(present, start + name); };
        const std::string mode = value(kQtMode);
        const bool showsPicture = mode == "stretch" || mode == "fit" || mode == "center" ||
                                  mode == "tile" || mode == "zoom";
        std::error_code error;
        if (!showsPicture || !fs::is_regular_file(value(kQtPicture), error)) {
            refuse("show no picture", "choose any picture there to have the background");
        }
        if (!value(kQtSlideFolder).empty() && value(kQtSlideInterval) != "0") {
            refuse("have a slide show", "switch it off to have the background");
        }
        if (value(kQtIsPerScreen) == "true" && pictures.outputs.size() > 1) {
            refuse("repeat the wallpaper on each screen", "change that to have the background");
        }
        return {{start + kQtPicture, pictures.screen}};
    }

  protected:
    std::vector<std::string> names() const override {
        return {kQtPicture, kQtMode, kQtSlideFolder, kQtSlideInterval, kQtIsPerScreen};
    }
    std::string decoded(const std::string &value) const override {
        return KeyFileText::fromQt(value);
    }
    std::string encoded(const std::string &text) const override { return KeyFileText::toQt(text); }

    ToolCall callToSet(const DesktopSettings &values) const override {
        return {{"pcmanfm-qt", "--set-wallpaper=" + valueOf(values, kQtPicture)}};
    }

  private:
    [[noreturn]] void refuse(const char *problem, const char *advice) const {
        throw HostError(settingsName(), problem, advice);
    }
};

} // namespace

std::unique_ptr<DesktopProgram> makePcmanfmProgram(std::string processFolder) {
    return std::make_unique<PcmanfmProgram>(std::move(processFolder));
}

std::unique_ptr<DesktopProgram> makePcmanfmQtProgram(std::string processFolder) {
    return std::make_unique<PcmanfmQtProgram>(std::move(processFolder));
}

} // namespace Lumivera
