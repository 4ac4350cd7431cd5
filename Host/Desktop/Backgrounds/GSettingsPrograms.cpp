#include "Host/Desktop/Backgrounds/DesktopProgram.h"
#include "Host/Support/HostError.h"

#include <sstream>

namespace Lumivera {

namespace {

constexpr const char *kTool = "gsettings";
constexpr const char *kOptions = "picture-options";

/// The text of a string as the tool prints and reads it. It prints characters beyond ASCII as they
/// are.
std::string quoted(std::string_view text) {
    const char quote = text.find('\'') == std::string_view::npos ? '\'' : '"';
    std::string result(1, quote);
    for (const char c : text) {
        if (c == quote || c == '\\') {
            result += '\\';
        }
        result += c;
    }
    return result + quote;
}

using Values = std::map<std::string, std::string>;

/// Each line of the listing has the schema, the key and the value.
Values valuesInListing(const std::string &listing, const std::string &schema) {
    Values values;
    std::istringstream stream(listing);
    for (std::string line; std::getline(stream, line);) {
        const std::string start = schema + " ";
        const std::size_t end = line.find(' ', start.size());
        if (line.starts_with(start) && end != std::string::npos) {
            values[line.substr(start.size(), end - start.size())] = line.substr(end + 1);
        }
    }
    return values;
}

/// What one desktop's keys are called.
struct Naming {
    std::string windowClass;
    std::string settingsName;
    std::string schema;
    std::vector<std::string> pictureKeys;
    bool hasURIs;
};

class GSettingsProgram final : public DesktopProgram {
  public:
    explicit GSettingsProgram(Naming naming) : _naming(std::move(naming)) {}

    std::string windowClass() const override { return _naming.windowClass; }
    std::string settingsName() const override { return _naming.settingsName; }
    bool hasPicturePerOutput() const override { return false; }

    /// With the backend "memory" every key has its default.
    std::vector<ToolCall> callsToRead() const override {
        const ToolCall call{{kTool, "list-recursively", _naming.schema}};
        return {call, {call.arguments, {"GSETTINGS_BACKEND=memory"}}};
    }

    /// A value that equals the default counts as not set: the tool does not tell them apart.
    DesktopSettings settingsFrom(const std::vector<ToolResult> &results) const override {
        for (const ToolResult &result : results) {
            if (!result.isGood()) {
                throw HostError(settingsName(), "cannot be read: " + result.problem,
                                "install libglib2.0-bin, and start the program in the desktop's "
                                "session");
            }
        }
        const Values values = valuesInListing(results[0].output, _naming.schema);
        const Values defaults = valuesInListing(results[1].output, _naming.schema);
        DesktopSettings settings;
        for (const auto &[key, value] : values) {
            const auto standard = defaults.find(key);
            const bool isSet = standard == defaults.end() || standard->second != value;
            settings[key] = isSet ? std::optional(value) : std::nullopt;
        }
        return settings;
    }

    /// Older versions lack the picture for the dark style.
    DesktopSettings settingsFor(const DesktopPictures &pictures,
                                const DesktopSettings &present) const override {
        DesktopSettings settings{{kOptions, quoted("spanned")}};
        for (const std::string &key : _naming.pictureKeys) {
            if (present.contains(key)) {
                settings[key] =
                    quoted(_naming.hasURIs ? fileURI(pictures.screen) : pictures.screen);
            }
        }
        return settings;
    }

    std::vector<ToolCall> set(const DesktopSettings &values) const override {
        std::vector<ToolCall> calls;
        for (const auto &[key, value] : values) {
            if (value) {
                calls.push_back({{kTool, "set", _naming.schema, key, *value}});
            } else {
                calls.push_back({{kTool, "reset", _naming.schema, key}});
            }
        }
        return calls;
    }

  private:
    const Naming _naming;
};

} // namespace

std::unique_ptr<DesktopProgram> makeCajaProgram() {
    return std::make_unique<GSettingsProgram>(Naming{"caja",
                                                     "MATE's appearance preferences",
                                                     "org.mate.background",
                                                     {"picture-filename"},
                                                     false});
}

std::unique_ptr<DesktopProgram> makeGnomeFlashbackProgram() {
    return std::make_unique<GSettingsProgram>(Naming{"gnome-flashback",
                                                     "GNOME's background settings",
                                                     "org.gnome.desktop.background",
                                                     {"picture-uri", "picture-uri-dark"},
                                                     true});
}

} // namespace Lumivera
