#pragma once

#include "Host/Desktop/Backgrounds/ToolRunner.h"
#include "Platform/Compositor/DeviceRect.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// The settings of a desktop by their keys. A setting without a value is not set, so that the
/// default counts.
using DesktopSettings = std::map<std::string, std::optional<std::string>>;

/// The picture files that a desktop is to show.
struct DesktopPictures {
    struct Output {
        std::string name;
        DeviceRect area; ///< in pixels of the screen
        std::string path;
    };

    std::vector<Output> outputs;

    /// One picture for the whole screen, which holds all outputs; empty when it was not asked for.
    std::string screen;
};

/// A program that draws the desktop with its icons, and how its wallpaper is read and set. It does
/// nothing by itself but to read and write files. Main thread.
class DesktopProgram {
  public:
    virtual ~DesktopProgram() = default;

    /// The class of its window in small letters; also its name in files.
    virtual std::string windowClass() const = 0;

    /// What people call the place where they choose the wallpaper: "Xfce's desktop settings".
    virtual std::string settingsName() const = 0;

    /// Whether each output has a wallpaper of its own; else there is one for the whole screen.
    virtual bool hasPicturePerOutput() const = 0;

    /// The calls whose results, in the same order, settingsFrom() needs.
    virtual std::vector<ToolCall> callsToRead() const = 0;

    /// All settings that matter, whether or not we change them. Throws a HostError when they cannot
    /// be read.
    virtual DesktopSettings settingsFrom(const std::vector<ToolResult> &results) const = 0;

    /// The values that make the program show these pictures pixel for pixel. Throws a HostError
    /// when it cannot, or when its present settings could not be given back.
    virtual DesktopSettings settingsFor(const DesktopPictures &pictures,
                                        const DesktopSettings &present) const = 0;

    /// What the user should know about these pictures when they are shown, as one line; mostly
    /// nothing.
    virtual std::string noteAbout(const DesktopPictures &pictures) const;

    /// The calls that set these values. Settings of a program that does not run may be set at once.
    /// Throws a HostError when that fails.
    virtual std::vector<ToolCall> set(const DesktopSettings &values) const = 0;

    /// Settings of one group make sense only together: when the user has changed one of them, all
    /// of them are the user's again.
    virtual std::string groupOf(const std::string &key) const;

    /// False when a setting that has a value keeps it for good. Where it was not set before, the
    /// rest of its group then makes sure that it has no effect.
    virtual bool canUnset() const { return true; }
};

/// Xfce 4.12 and later.
std::unique_ptr<DesktopProgram> makeXfdesktopProgram();

std::unique_ptr<DesktopProgram> makeCajaProgram();
std::unique_ptr<DesktopProgram> makeGnomeFlashbackProgram();

/// The processes are looked for below `processFolder`.
std::unique_ptr<DesktopProgram> makePcmanfmProgram(std::string processFolder = "/proc");
std::unique_ptr<DesktopProgram> makePcmanfmQtProgram(std::string processFolder = "/proc");

/// Plasma 5 and 6.
std::unique_ptr<DesktopProgram> makePlasmaProgram();

std::vector<std::unique_ptr<DesktopProgram>> allDesktopPrograms();

/// A file's path as a URI.
std::string fileURI(std::string_view path);

} // namespace Lumivera
