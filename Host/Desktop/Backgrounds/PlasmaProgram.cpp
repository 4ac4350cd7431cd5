#include "Host/Desktop/Backgrounds/DesktopProgram.h"
#include "Host/Support/HostError.h"

#include <nlohmann/json.hpp>

namespace Lumivera {

namespace {

using JSON = nlohmann::json;

constexpr const char *kImagePlugin = "org.kde.image";

/// Shows the host's pictures itself, and so stays.
constexpr const char *kOurPlugin = "org.lumivera.wallpaper";

constexpr const char *kStretched = "0";

constexpr const char *kPlugin = "/plugin";
constexpr const char *kImage = "/Image";
constexpr const char *kFillMode = "/FillMode";

/// The left and the top edge of the containment's screen; only read.
constexpr const char *kPlace = "/place";

/// Prints a line of JSON for each desktop, also for those that no screen shows now. Plasma reads a
/// deleted entry as "".
constexpr const char *kReadingScript = R"(
for (const d of desktops()) {
    const area = d.screen < 0 ? null : screenGeometry(d.screen);
    d.currentConfigGroup = ["Wallpaper", "org.kde.image", "General"];
    const read = key => {
        const value = String(d.readConfig(key, ""));
        return value === "" ? null : value;
    };
    print(JSON.stringify({id: d.id, place: area && area.x + "," + area.y, plugin: d.wallpaperPlugin,
                          Image: read("Image"), FillMode: read("FillMode")}) + "\n");
}
)";

ToolCall callOf(const std::string &script) {
    return {{"busctl", "--user", "--json=short", "call", "org.kde.plasmashell", "/PlasmaShell",
             "org.kde.PlasmaShell", "evaluateScript", "s", script}};
}

std::string containmentOf(const std::string &key) { return key.substr(0, key.find('/')); }

std::string literal(const std::optional<std::string> &text) {
    return text ? JSON(*text).dump(-1, ' ', true, JSON::error_handler_t::replace) : "null";
}

/// The line of the script that sets a value. Assigning the plug-in last loads it with the values.
std::string statementFor(const std::string &name, const std::optional<std::string> &value) {
    return name == kPlugin ? "d.wallpaperPlugin = " + literal(value) + ";\n"
                           : "d.writeConfig(\"" + name.substr(1) + "\", " + literal(value) + ");\n";
}

DesktopSettings settingsInLine(const std::string &line) {
    const JSON json = JSON::parse(line);
    const std::string id = std::to_string(json.at("id").get<int>());
    DesktopSettings settings;
    for (const char *name : {kPlugin, kImage, kFillMode, kPlace}) {
        const JSON &value = json.at(name + 1);
        settings[id + name] =
            value.is_null() ? std::nullopt : std::optional(value.get<std::string>());
    }
    return settings;
}

DesktopSettings settingsInAnswer(const std::string &answer) {
    const std::string text = JSON::parse(answer).at("data").at(0).get<std::string>();
    DesktopSettings settings;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        settings.merge(settingsInLine(text.substr(at, end - at)));
        at = end + 1;
    }
    return settings;
}

class PlasmaProgram final : public DesktopProgram {
  public:
    std::string windowClass() const override { return "plasmashell"; }
    std::string settingsName() const override { return "Plasma's desktop and wallpaper settings"; }
    bool hasPicturePerOutput() const override { return true; }
    std::vector<ToolCall> callsToRead() const override { return {callOf(kReadingScript)}; }

    DesktopSettings settingsFrom(const std::vector<ToolResult> &results) const override {
        if (!results[0].isGood()) {
            throw HostError(settingsName(), "cannot be read: " + results[0].problem,
                            "start the program in the desktop's session");
        }
        try {
            return settingsInAnswer(results[0].output);
        } catch (const JSON::exception &) {
            throw HostError(settingsName(), "cannot be read: Plasma's answer is not understood");
        }
    }

    DesktopSettings settingsFor(const DesktopPictures &pictures,
                                const DesktopSettings &present) const override {
        DesktopSettings settings;
        for (const DesktopPictures::Output &output : pictures.outputs) {
            const std::string place =
                std::to_string(output.area.left) + "," + std::to_string(output.area.top);
            for (const auto &[key, value] : present) {
                if (key.ends_with(kPlace) && value == place &&
                    present.at(containmentOf(key) + kPlugin) != kOurPlugin) {
                    settings[containmentOf(key) + kPlugin] = kImagePlugin;
                    settings[containmentOf(key) + kImage] = fileURI(output.path);
                    settings[containmentOf(key) + kFillMode] = kStretched;
                }
            }
        }
        return settings;
    }

    /// One script for each containment.
    std::vector<ToolCall> set(const DesktopSettings &values) const override {
        std::map<std::string, std::string> scripts;
        for (const auto &[key, value] : values) {
            const std::string id = containmentOf(key);
            scripts[id] += statementFor(key.substr(id.size()), value);
        }
        std::vector<ToolCall> calls;
        for (const auto &[id, statements] : scripts) {
            calls.push_back(callOf("const d = desktopById(" + id +
                                   ");\n"
                                   "d.currentConfigGroup = [\"Wallpaper\", \"org.kde.image\", "
                                   "\"General\"];\n" +
                                   statements));
        }
        return calls;
    }

    std::string groupOf(const std::string &key) const override { return containmentOf(key); }
};

} // namespace

std::unique_ptr<DesktopProgram> makePlasmaProgram() { return std::make_unique<PlasmaProgram>(); }

} // namespace Lumivera
