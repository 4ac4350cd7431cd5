#include "Host/Displays/Wayland/SwayTree.h"

#include "Host/Displays/RemainingArea.h"

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>

namespace Lumivera {

namespace {

using JSON = nlohmann::json;

/// Sway's lengths are cut to this, which no screen reaches, so that sums do not overflow.
constexpr std::int64_t kMaxLength = 1 << 20;

/// A gap of this width and more shows petals.
constexpr int kWideGap = 2 * RemainingArea::kHalfGap;

/// A full-screen window covers every output in this mode, and only its own in the one before.
constexpr int kFullScreenEverywhere = 2;

int lengthIn(const JSON &rect, const char *key) {
    const auto found = rect.find(key);
    if (found == rect.end() || !found->is_number_integer()) {
        return 0;
    }
    return static_cast<int>(std::clamp(found->get<std::int64_t>(), -kMaxLength, kMaxLength));
}

DeviceRect rectIn(const JSON &node, const char *key) {
    const auto found = node.find(key);
    if (found == node.end() || !found->is_object()) {
        return {};
    }
    const int left = lengthIn(*found, "x");
    const int top = lengthIn(*found, "y");
    return {left, top, left + lengthIn(*found, "width"), top + lengthIn(*found, "height")};
}

std::string textIn(const JSON &node, const char *key) {
    const auto found = node.find(key);
    return found != node.end() && found->is_string() ? found->get<std::string>() : "";
}

bool isTrueIn(const JSON &node, const char *key) {
    const auto found = node.find(key);
    return found != node.end() && found->is_boolean() && found->get<bool>();
}

const JSON &childrenIn(const JSON &node, const char *key) {
    static const JSON kNone = JSON::array();
    const auto found = node.find(key);
    return found != node.end() && found->is_array() ? *found : kNone;
}

/// A title bar's place is relative to the node that holds the window.
DeviceRect titleBarOf(const JSON &node, const DeviceRect &parent) {
    const DeviceRect bar = rectIn(node, "deco_rect");
    return {parent.left + bar.left, parent.top + bar.top, parent.left + bar.right,
            parent.top + bar.bottom};
}

bool hasVisibleWindow(const JSON &node, int depth) {
    if (isTrueIn(node, "visible")) {
        return true;
    }
    const JSON &children = childrenIn(node, "nodes");
    return depth < SwayTree::kMaxDepth &&
           std::any_of(children.begin(), children.end(), [depth](const JSON &child) {
               return child.is_object() && hasVisibleWindow(child, depth + 1);
           });
}

bool isNarrow(int before, int after) { return std::min(before, after) < kWideGap; }

} // namespace

/// Reads the outputs of a tree. Values of another type than expected count as missing.
class SwayTree::Reader {
  public:
    explicit Reader(SwayTree &tree) : _tree(tree) {}

    void read(const JSON &root) {
        for (const JSON &node : childrenIn(root, "nodes")) {
            if (node.is_object() && textIn(node, "type") == "output") {
                readOutput(node);
            }
        }
        for (Output &output : _tree._outputs) {
            output.isFullScreen = output.isFullScreen || _isFullScreenEverywhere;
        }
    }

  private:
    void readOutput(const JSON &node) {
        Output output{textIn(node, "name"), rectIn(node, "rect"), {}, {}, false};
        const std::string shown = textIn(node, "current_workspace");
        for (const JSON &workspace : childrenIn(node, "nodes")) {
            if (workspace.is_object() && textIn(workspace, "name") == shown) {
                readWorkspace(workspace, output);
            }
        }
        _tree._outputs.push_back(std::move(output));
    }

    void readWorkspace(const JSON &workspace, Output &output) {
        output.workspace = rectIn(workspace, "rect");
        for (const JSON &node : childrenIn(workspace, "nodes")) {
            readTile(node, output.workspace, output, 0);
        }
        for (const JSON &node : childrenIn(workspace, "floating_nodes")) {
            if (node.is_object()) {
                readFullScreen(node, output, 0);
            }
        }
    }

    void readTile(const JSON &node, const DeviceRect &parent, Output &output, int depth) {
        if (!node.is_object() || depth > kMaxDepth || !hasVisibleWindow(node, depth)) {
            return;
        }
        readFullScreen(node, output, depth);
        const DeviceRect rect = rectIn(node, "rect");
        const std::string layout = textIn(node, "layout");
        const JSON &children = childrenIn(node, "nodes");
        if (children.empty() || layout == "tabbed" || layout == "stacked") {
            output.tiles.push_back(rect);
            output.tiles.push_back(titleBarOf(node, parent));
            return;
        }
        for (const JSON &child : children) {
            readTile(child, rect, output, depth + 1);
        }
    }

    void readFullScreen(const JSON &node, Output &output, int depth) {
        const int mode = lengthIn(node, "fullscreen_mode");
        if (mode > 0 && hasVisibleWindow(node, depth)) {
            output.isFullScreen = true;
            _isFullScreenEverywhere = _isFullScreenEverywhere || mode == kFullScreenEverywhere;
        }
    }

    SwayTree &_tree;
    bool _isFullScreenEverywhere = false;
};

/// Titles may hold any bytes, and none of them matter, so only ASCII is left for the JSON parser.
/// Its callback drops what is nested too deeply.
std::optional<SwayTree> SwayTree::parse(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; }, '?');
    const auto keepsDepth = [](int depth, JSON::parse_event_t, JSON &) {
        return depth <= 2 * kMaxDepth;
    };
    const JSON root = JSON::parse(text, keepsDepth, false);
    if (!root.is_object() || textIn(root, "type") != "root") {
        return std::nullopt;
    }
    SwayTree tree;
    Reader(tree).read(root);
    return tree;
}

std::optional<SurfaceVisibility> SwayTree::visibilityOf(const std::string &name,
                                                        std::optional<WaylandSize> free) const {
    const auto output = std::find_if(_outputs.begin(), _outputs.end(),
                                     [&](const Output &known) { return known.name == name; });
    if (output == _outputs.end()) {
        return std::nullopt;
    }
    if (output->isFullScreen) {
        return SurfaceVisibility::FullScreen;
    }
    RemainingArea remaining(output->workspace);
    for (const DeviceRect &tile : output->tiles) {
        remaining.removeWithGaps(tile);
    }
    const bool isCovered =
        !output->tiles.empty() && remaining.isEmpty() && isWithinMargins(*output, free);
    return isCovered ? SurfaceVisibility::Covered : SurfaceVisibility::Visible;
}

/// Whether what lies around the workspace shows no petals: panels, or gaps that are too narrow.
bool SwayTree::isWithinMargins(const Output &output, std::optional<WaylandSize> free) {
    const DeviceRect &area = output.area;
    const DeviceRect &inner = output.workspace;
    if (free) {
        return free->width - inner.width() < 2 * kWideGap &&
               free->height - inner.height() < 2 * kWideGap;
    }
    return isNarrow(inner.left - area.left, area.right - inner.right) &&
           isNarrow(inner.top - area.top, area.bottom - inner.bottom);
}

} // namespace Lumivera
