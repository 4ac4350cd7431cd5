#include "Host/Desktop/Configuration/Configuration.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <toml++/toml.h>
#include <utility>

namespace Lumivera {

namespace {

/// Every dot of a dotted key begins a table inside another, and the library goes down all of them
/// when it takes them away.
constexpr std::ptrdiff_t kMostDots = 4000;
constexpr std::size_t kLongestName = 256;
constexpr double kSmallestDensity = 0.1;
constexpr double kLargestDensity = 10;

constexpr std::string_view kOutput = "output";

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string place(const std::string &path, std::size_t line) {
    return path + ":" + std::to_string(line);
}

/// The first line with bytes that are no UTF-8, from 1; nothing when there is none.
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

/// The value in words that WallpaperChoice::set() takes; nothing when it is written in another
/// form.
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
    if (!number || !(*number >= kSmallestDensity && *number <= kLargestDensity)) {
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

} // namespace

/// Reads one text and knows how to complain about each of its values.
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
    /// A key that stands at the top only. `read` gives false for a value that is none of the key's.
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
            {"click-through", kFlag,
             [](C &c, const Node &v) { return readFlag(c._isClickThrough, v); }},
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
        if (_text.size() > Configuration::kMaximumBytes) {
            throw HostError(_path, "is larger than 1 MiB", "shorten it");
        }
        if (const auto line = lineWithoutUTF8(_text)) {
            throw HostError(place(_path, *line), "is not UTF-8", "save the file as UTF-8");
        }
        if (std::count(_text.begin(), _text.end(), '.') > kMostDots) {
            throw HostError(_path, "has more than " + std::to_string(kMostDots) + " dots",
                            "shorten it");
        }
    }

    void readTop(const toml::key &key, const toml::node &value) {
        if (key.str() == kOutput) {
            readOutputs(value);
        } else if (WallpaperChoice::formOf(key.str())) {
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
        constexpr const char *kAdvice = "write [output.NAME] above the keys of an output";
        if (!value.is_table()) {
            fail(value.source(), kOutput, " is no table", kAdvice);
        }
        for (const auto &[name, keys] : *value.as_table()) {
            if (!keys.is_table() || name.str().empty() || name.str().size() > kLongestName) {
                fail(keys.source(), name.str(), " is no output with keys", kAdvice);
            }
            WallpaperChoice &choice = _result._outputChoices[std::string(name.str())];
            for (const auto &[outputKey, outputValue] : *keys.as_table()) {
                readOfOutput(choice, outputKey, outputValue);
            }
        }
    }

    void readOfOutput(WallpaperChoice &choice, const toml::key &key, const toml::node &value) {
        if (WallpaperChoice::formOf(key.str())) {
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
        const auto text = textOf(value, *WallpaperChoice::formOf(key.str()));
        if (!text || !choice.trySet(key.str(), *text).empty()) {
            fail(value.source(), key.str(), " is not " + WallpaperChoice::rangeOf(key.str()));
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

} // namespace Lumivera
