#include "Host/Desktop/Configuration/Configuration.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <toml++/toml.h>
#include <utility>

namespace Lumivera {

namespace {

/// Each dot of a dotted key nests a table in another, and the library destroys nested tables
/// recursively, so their number is limited.
constexpr std::ptrdiff_t kMaxDots = 4000;
constexpr std::size_t kMaxName = 256;
constexpr double kMinDensity = 0.1;
constexpr double kMaxDensity = 10;

constexpr std::string_view kOutput = "output";

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string place(const std::string &path, std::size_t line) {
    return path + ":" + std::to_string(line);
}

/// The number, from 1, of the first line that is not UTF-8.
std::optional<std::size_t> lineWithoutUTF8(std::string_view text) {
    if (isValidUTF8(text)) {
        return std::nullopt;
    }
    std::size_t line = 1;
    for (std::size_t end = text.find('\n');
         end != std::string_view::npos && isValidUTF8(text.substr(0, end)); end = text.find('\n')) {
        text.remove_prefix(end + 1);
        ++line;
    }
    return line;
}

/// The value as a text that WallpaperChoice::set() takes; nothing for a value of another form.
std::optional<std::string> textOf(const toml::node &value, WallpaperChoice::Form form) {
    using Form = WallpaperChoice::Form;
    if (form == Form::Text) {
        return value.value_exact<std::string>();
    }
    if (const auto whole = value.value_exact<std::int64_t>()) {
        return textOfNumber(*whole);
    }
    const auto number = value.value_exact<double>();
    return form == Form::Number && number ? std::optional(textOfNumber(*number)) : std::nullopt;
}

bool readFlag(bool &target, const toml::node &value) {
    const auto flag = value.value_exact<bool>();
    target = flag.value_or(target);
    return flag.has_value();
}

bool readFlag(std::optional<bool> &target, const toml::node &value) {
    target = value.value_exact<bool>();
    return target.has_value();
}

bool readDensity(std::optional<CGFloat> &target, const toml::node &value) {
    const auto number = value.is_number() ? value.value<double>() : std::nullopt;
    if (!number || !(*number >= kMinDensity && *number <= kMaxDensity)) {
        return false;
    }
    target = static_cast<CGFloat>(*number);
    return true;
}

bool readOnBattery(PauseOptions::OnBattery &target, const toml::node &value) {
    using OnBattery = PauseOptions::OnBattery;
    constexpr std::pair<std::string_view, OnBattery> kWords[] = {
        {"run", OnBattery::Run}, {"slow", OnBattery::Slow}, {"pause", OnBattery::Pause}};
    const auto text = value.value_exact<std::string>().value_or("");
    for (const auto &[word, meaning] : kWords) {
        if (text == word) {
            target = meaning;
            return true;
        }
    }
    return false;
}

bool readLayer(std::optional<LayerChoice> &target, const toml::node &value) {
    const auto found = layerChoices().find(value.value_exact<std::string>().value_or(""));
    target = found == layerChoices().end() ? std::nullopt : std::optional(found->second);
    return target.has_value();
}

constexpr const char *kWallpaper = "wallpaper";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr const char *kAdvice = "write the line wallpaper = \"...\" with an editor";

/// A part of a text: the offset of its first byte, and the offset behind its last byte.
struct Range {
    std::size_t begin;
    std::size_t end;
};

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

/// The byte offset of a position that the parser gives: lines and columns count from 1, columns in
/// characters, and without a byte order mark.
std::size_t offsetOf(std::string_view text, const toml::source_position &position) {
    std::size_t offset = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    for (toml::source_index line = 1; line < position.line; ++line) {
        const std::size_t end = text.find('\n', offset);
        offset = end == std::string_view::npos ? text.size() : end + 1;
    }
    for (toml::source_index column = 1; column < position.column && offset < text.size();
         ++column) {
        do {
            ++offset;
        } while (offset < text.size() && continuesCharacter(text[offset]));
    }
    return offset;
}

/// The range of the wallpaper's value; nothing when the text has none.
std::optional<Range> wallpaperRange(std::string_view text) {
    const toml::table table = toml::parse(text);
    const toml::node *value = table.get(kWallpaper);
    if (!value) {
        return std::nullopt;
    }
    return Range{offsetOf(text, value->source().begin), offsetOf(text, value->source().end)};
}

std::string tomlString(std::string_view value) {
    std::string text = "\"";
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            text.append({'\\', c});
        } else if (byte < 0x20 || byte == 0x7f) {
            std::array<char, 8> escape;
            std::snprintf(escape.data(), escape.size(), "\\u%04x", byte);
            text += escape.data();
        } else {
            text += c;
        }
    }
    return text + "\"";
}

/// Adds a line at the top, where it belongs to no table.
std::string withNewLine(std::string_view text, const std::string &value) {
    const std::size_t start = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    const char *lineEnd = text.find("\r\n") == std::string_view::npos ? "\n" : "\r\n";
    std::string result(text);
    return result.insert(start, std::string(kWallpaper) + " = " + value + lineEnd);
}

bool saysWhatItShould(const std::string &text, const Configuration &before,
                      const std::string &wallpaper, const std::string &path) {
    try {
        const Configuration after = Configuration::parse(text, path);
        return after.choice().bundle == wallpaper && after.isSameButForWallpaper(before);
    } catch (const HostError &) {
        return false;
    }
}

} // namespace

/// Reads one text; its errors name the file, the line and the key.
class ConfigurationReader {
  public:
    ConfigurationReader(std::string_view text, const std::string &path)
        : _text(text), _path(path) {}

    Configuration read() {
        checkBytes();
        try {
            const toml::table table = toml::parse(_text);
            for (const auto &[key, value] : table) {
                readTop(key, value);
            }
        } catch (const toml::parse_error &error) {
            throw HostError(place(_path, error.source().begin.line), error.description());
        }
        return _result;
    }

  private:
    /// A key that is valid at the top only. `read` returns false for an invalid value.
    struct Key {
        std::string_view name;
        const char *range;
        bool (*read)(Configuration &configuration, const toml::node &value);
    };

    static std::span<const Key> keys() {
        using C = Configuration;
        using Node = toml::node;
        static constexpr const char *kFlag = "true or false";
        static constexpr Key kKeys[] = {
            {"on-battery", R"("run", "slow" or "pause")",
             [](C &c, const Node &v) { return readOnBattery(c._pauseOptions.onBattery, v); }},
            {"pause-when-covered", kFlag,
             [](C &c, const Node &v) { return readFlag(c._pauseOptions.whenCovered, v); }},
            {"pause-when-locked", kFlag,
             [](C &c, const Node &v) { return readFlag(c._pauseOptions.whenLocked, v); }},
            {"pause-when-idle", kFlag,
             [](C &c, const Node &v) { return readFlag(c._pauseOptions.whenIdle, v); }},
            {"layer", R"("auto", "behind", "over", "background" or "bottom")",
             [](C &c, const Node &v) { return readLayer(c._layer, v); }},
            {"trust", kFlag, [](C &c, const Node &v) { return readFlag(c._trusts, v); }},
            {"density", "a number from 0.1 to 10",
             [](C &c, const Node &v) { return readDensity(c._density, v); }},
        };
        return kKeys;
    }

    static const Key *findKey(std::string_view name) {
        const auto found = std::find_if(keys().begin(), keys().end(),
                                        [name](const Key &key) { return key.name == name; });
        return found == keys().end() ? nullptr : &*found;
    }

    static std::string allKeysText() {
        std::string text = WallpaperChoice::keysText();
        for (const Key &key : keys()) {
            text.append(", ").append(key.name);
        }
        return text.append(" or [output.NAME]");
    }

    [[noreturn]] void fail(const toml::source_region &where, std::string_view key,
                           const std::string &problem, std::string_view advice = {}) const {
        throw HostError(place(_path, where.begin.line), inQuotes(key) + problem, advice);
    }

    void checkBytes() const {
        if (_text.size() > Configuration::kMaxBytes) {
            throw HostError(_path, "is larger than 1 MiB", "shorten it");
        }
        if (const auto line = lineWithoutUTF8(_text)) {
            throw HostError(place(_path, *line), "is not UTF-8", "save the file as UTF-8");
        }
        if (std::count(_text.begin(), _text.end(), '.') > kMaxDots) {
            throw HostError(_path, "has more than " + std::to_string(kMaxDots) + " dots",
                            "shorten it");
        }
    }

    void readTop(const toml::key &key, const toml::node &value) {
        if (key.str() == kOutput) {
            readOutputs(value);
        } else if (WallpaperChoice::findKey(key.str())) {
            readChoice(_result._choice, key, value);
        } else if (const Key *known = findKey(key.str())) {
            if (!known->read(_result, value)) {
                fail(value.source(), key.str(), std::string(" is not ") + known->range);
            }
        } else {
            fail(key.source(), key.str(), " is no key", "use one of " + allKeysText());
        }
    }

    void readOutputs(const toml::node &value) {
        constexpr const char *kTableAdvice = "write [output.NAME] above the keys of an output";
        if (!value.is_table()) {
            fail(value.source(), kOutput, " is no table", kTableAdvice);
        }
        for (const auto &[name, keys] : *value.as_table()) {
            if (!keys.is_table() || name.str().empty() || name.str().size() > kMaxName) {
                fail(keys.source(), name.str(), " is no output with keys", kTableAdvice);
            }
            WallpaperChoice &choice = _result._outputChoices[std::string(name.str())];
            for (const auto &[outputKey, outputValue] : *keys.as_table()) {
                readOfOutput(choice, outputKey, outputValue);
            }
        }
    }

    void readOfOutput(WallpaperChoice &choice, const toml::key &key, const toml::node &value) {
        if (WallpaperChoice::findKey(key.str())) {
            readChoice(choice, key, value);
        } else if (findKey(key.str())) {
            fail(key.source(), key.str(), " is for all outputs together",
                 "move it above the first [output.NAME]");
        } else {
            fail(key.source(), key.str(), " is no key of an output",
                 "use one of " + WallpaperChoice::keysText());
        }
    }

    void readChoice(WallpaperChoice &choice, const toml::key &key, const toml::node &value) const {
        const WallpaperChoice::Key &known = *WallpaperChoice::findKey(key.str());
        const auto text = textOf(value, known.form);
        if (!text || !choice.trySet(key.str(), *text).empty()) {
            fail(value.source(), key.str(), " is not " + known.range);
        }
    }

    const std::string_view _text;
    const std::string &_path;
    Configuration _result;
};

Configuration Configuration::parse(std::string_view text, const std::string &path) {
    return ConfigurationReader(text, path).read();
}

WallpaperChoice Configuration::choiceFor(const std::string &output) const {
    WallpaperChoice choice = _choice;
    const auto own = _outputChoices.find(output);
    if (own != _outputChoices.end()) {
        choice.apply(own->second);
    }
    return choice;
}

void Configuration::resolvePaths(const std::string &folder, const std::string &home) {
    const auto resolve = [&](std::optional<std::string> &path) {
        if (!path || path->starts_with('/') || path->find('/') == std::string::npos) {
            return;
        }
        path = path->starts_with("~/") ? home + path->substr(1) : folder + "/" + *path;
    };
    resolve(_choice.bundle);
    for (auto &[output, choice] : _outputChoices) {
        resolve(choice.bundle);
    }
}

bool Configuration::isSameButForWallpaper(const Configuration &other) const {
    Configuration changed = other;
    changed._choice.bundle = _choice.bundle;
    return *this == changed;
}

std::string Configuration::withWallpaper(std::string_view text, const std::string &wallpaper,
                                         const std::string &path) {
    const Configuration before = Configuration::parse(text, path);
    if (!isValidUTF8(wallpaper)) {
        throw HostError(wallpaper, "is not UTF-8 and cannot be written into " + path,
                        "rename the bundle");
    }
    const auto range = wallpaperRange(text);
    std::string result;
    if (range) {
        result = text;
        result.replace(range->begin, range->end - range->begin, tomlString(wallpaper));
    } else {
        result = withNewLine(text, tomlString(wallpaper));
    }
    if (!saysWhatItShould(result, before, wallpaper, path)) {
        throw HostError(path, "cannot be changed without changing more than the wallpaper",
                        kAdvice);
    }
    return result;
}

} // namespace Lumivera
