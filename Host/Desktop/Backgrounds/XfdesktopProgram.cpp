#include "Host/Desktop/Backgrounds/DesktopProgram.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace Lumivera {

namespace {

constexpr const char *kTool = "xfconf-query";
constexpr std::string_view kBackdrop = "/backdrop/";
constexpr std::string_view kPicture = "/last-image";
constexpr std::string_view kStyle = "/image-style";
constexpr std::string_view kSlides = "/backdrop-cycle-enable";
constexpr const char *kStretched = "3";

/// A key of another channel, which is only read.
constexpr const char *kWorkspaceCount = "/general/workspace_count";
constexpr int kMaxWorkspaces = 64;

int numberAt(std::string_view text) {
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// The listing has the names in one column, then at least two spaces, then the values.
DesktopSettings settingsInListing(const std::string &listing) {
    std::vector<std::string> lines;
    std::size_t column = 0;
    std::istringstream stream(listing);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t end = line.find("  ");
        if (line.starts_with(kBackdrop) && end != std::string::npos) {
            column = std::max(column, end + 2);
            lines.push_back(line);
        }
    }
    DesktopSettings settings;
    for (const std::string &line : lines) {
        const std::string value = line.size() > column ? line.substr(column) : "";
        settings[line.substr(0, line.find("  "))] = value;
    }
    return settings;
}

/// Xfce has no spaces in the names of its monitors.
std::string folderOf(std::string output) {
    std::erase_if(output, [](char c) { return c == ' ' || c == '\t'; });
    return std::string(kBackdrop) + "screen0/monitor" + output + "/workspace";
}

/// A workspace may have settings though there are fewer workspaces now.
int workspaceCount(const std::string &folder, const DesktopSettings &present) {
    const auto counted = present.find(kWorkspaceCount);
    int count = counted == present.end() ? 1 : numberAt(*counted->second);
    for (const auto &[key, value] : present) {
        if (key.starts_with(folder)) {
            count = std::max(count, numberAt(std::string_view(key).substr(folder.size())) + 1);
        }
    }
    return std::clamp(count, 1, kMaxWorkspaces);
}

const char *typeOf(const std::string &key) {
    return key.ends_with(kPicture) ? "string" : key.ends_with(kStyle) ? "int" : "bool";
}

class XfdesktopProgram final : public DesktopProgram {
  public:
    std::string windowClass() const override { return "xfdesktop"; }
    std::string settingsName() const override { return "Xfce's desktop settings"; }
    bool hasPicturePerOutput() const override { return true; }

    std::vector<ToolCall> callsToRead() const override {
        return {{{kTool, "-c", "xfce4-desktop", "-lv"}},
                {{kTool, "-c", "xfwm4", "-p", kWorkspaceCount}}};
    }

    DesktopSettings settingsFrom(const std::vector<ToolResult> &results) const override {
        if (!results[0].isGood()) {
            throw HostError(settingsName(), "cannot be read: " + results[0].problem,
                            "install xfconf, and start the program in the desktop's session");
        }
        DesktopSettings settings = settingsInListing(results[0].output);
        if (results[1].isGood()) {
            settings[kWorkspaceCount] = results[1].output;
        }
        return settings;
    }

    /// Whether all workspaces share one wallpaper is left as it is: each of them gets ours.
    DesktopSettings settingsFor(const DesktopPictures &pictures,
                                const DesktopSettings &present) const override {
        DesktopSettings settings;
        for (const DesktopPictures::Output &output : pictures.outputs) {
            const std::string folder = folderOf(output.name);
            for (int i = 0; i < workspaceCount(folder, present); ++i) {
                const std::string workspace = folder + std::to_string(i);
                settings[workspace + std::string(kPicture)] = output.path;
                settings[workspace + std::string(kStyle)] = kStretched;
                const auto slides = present.find(workspace + std::string(kSlides));
                if (slides != present.end()) {
                    settings[slides->first] = "false";
                }
            }
        }
        return settings;
    }

    std::vector<ToolCall> set(const DesktopSettings &values) const override {
        std::vector<ToolCall> calls;
        for (const auto &[key, value] : values) {
            ToolCall call{{kTool, "-c", "xfce4-desktop", "-p", key}};
            if (value) {
                call.arguments.insert(call.arguments.end(),
                                      {"-n", "-t", typeOf(key), "-s", *value});
            } else {
                call.arguments.emplace_back("-r");
            }
            calls.push_back(call);
        }
        return calls;
    }

    std::string groupOf(const std::string &key) const override {
        return key.substr(0, key.rfind('/'));
    }
};

} // namespace

std::unique_ptr<DesktopProgram> makeXfdesktopProgram() {
    return std::make_unique<XfdesktopProgram>();
}

} // namespace Lumivera
