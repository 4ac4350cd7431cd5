#include "Host/Wallpapers/Rules/BundleRules.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>

namespace Lumivera {

namespace {

enum class Form { Text, Number };

/// A key that something reads.
struct Key {
    const char *name;
    Form form;
};

constexpr Key kKeys[] = {{"name Library", Form::Text},    {"sakura Count", Form::Number},
                         {"falling Speed", Form::Number}, {"name", Form::Text},
                         {"author", Form::Text},          {"summary", Form::Text},
                         {"license", Form::Text},         {"licence", Form::Text}};

constexpr const char *kCount = "sakura Count";
constexpr const char *kSpeed = "falling Speed";
constexpr std::int32_t kMaxCount = 300;
constexpr std::int32_t kUsualCount = 120;

/// At level 40 a petal crosses a phone's screen in less than a second.
constexpr std::int32_t kMaxUsualSpeed = 40;

const Key *findKey(std::string_view name) {
    const auto *const found = std::find_if(std::begin(kKeys), std::end(kKeys),
                                           [name](const Key &key) { return name == key.name; });
    return found == std::end(kKeys) ? nullptr : found;
}

std::vector<std::string> keyNames() {
    std::vector<std::string> names;
    for (const Key &key : kKeys) {
        names.emplace_back(key.name);
    }
    return names;
}

/// Long ones are cut between two characters.
std::string quoted(std::string_view text) {
    constexpr std::size_t kMaxShown = 80;
    std::size_t end = std::min(text.size(), kMaxShown);
    while (end < text.size() && end > 0 && (text[end] & 0xc0) == 0x80) {
        --end;
    }
    return "\"" + std::string(text.substr(0, end)) + (end < text.size() ? "…" : "") + "\"";
}

std::string subjectFor(std::string_view key) {
    return std::string(kDescriptionName) + ", " + quoted(key);
}

/// Whether the whole text is one decimal integer.
bool isInteger(std::string_view text) {
    std::int64_t value = 0;
    const char *const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc() && result.ptr == end;
}

void checkDescription(const CheckedBundle &bundle, const Reporter &report) {
    const CheckedBundle::Entry *const file = bundle.find(kDescriptionName);
    if (!bundle.problem().empty() || bundle.description()) {
        return;
    }
    if (file) {
        report.wrong(kDescriptionName, "is unreadable, damaged or no dictionary",
                     "write it as an XML or binary property list");
        return;
    }
    for (const CheckedBundle::Entry &entry : bundle.entries()) {
        if (lowerCase(entry.name) == kDescriptionName) {
            report.wrong(entry.name, "is not found, because its name has capital letters",
                         std::string("rename it to ") + kDescriptionName);
            return;
        }
    }
    report.wrong(kDescriptionName, "is missing", "a wallpaper bundle needs one");
}

/// Code of its own may read keys of its own.
void checkKeys(const CheckedBundle &bundle, const Reporter &report) {
    if (!bundle.description()) {
        return;
    }
    for (const auto &[key, value] : bundle.description()->entries()) {
        const std::string nearest = findKey(key) ? "" : nearestOf(key, keyNames());
        if (!nearest.empty()) {
            report.wrong(subjectFor(key), "nothing reads this key", "write " + quoted(nearest));
        } else if (!findKey(key) && bundle.usesShippedLibrary()) {
            report.doubt(subjectFor(key), "nothing reads this key", "remove it");
        }
    }
}

void checkNumber(const std::string &key, const PropertyList &value, const Reporter &report) {
    const std::string subject = subjectFor(key);
    const auto number = value.integerValue();
    const std::string counts = number ? "counts as " + std::to_string(*number) : "";
    if (!number) {
        report.wrong(subject, "is no number", "write it as an <integer>");
    } else if (value.text() && isInteger(*value.text())) {
        report.doubt(subject, "is a text", "write it as an <integer>");
    } else if (value.text()) {
        report.wrong(subject, "is the text " + quoted(*value.text()) + ", which " + counts,
                     "write it as an <integer>");
    } else if (value.boolean()) {
        report.wrong(subject, "is no number, and " + counts, "write it as an <integer>");
    } else if (value.real() && std::trunc(*value.real()) != *value.real()) {
        report.doubt(subject, "is no whole number, and " + counts, "write it as an <integer>");
    }
}

void checkTypes(const CheckedBundle &bundle, const Reporter &report) {
    for (const Key &key : kKeys) {
        const PropertyList *const value =
            bundle.description() ? bundle.description()->objectForKey(key.name) : nullptr;
        if (value && key.form == Form::Number) {
            checkNumber(key.name, *value, report);
        } else if (value && !value->text()) {
            report.wrong(subjectFor(key.name), "is no text", "write it as a <string>");
        } else if (value && value->text()->empty()) {
            report.doubt(subjectFor(key.name), "is empty", "fill it in or remove it");
        }
    }
}

std::optional<std::int32_t> numberOf(const CheckedBundle &bundle, const char *key) {
    const PropertyList *const value =
        bundle.description() ? bundle.description()->objectForKey(key) : nullptr;
    return value ? value->integerValue() : std::nullopt;
}

void checkRanges(const CheckedBundle &bundle, const Reporter &report) {
    const std::string range = "give a number from 1 to " + std::to_string(kMaxCount);
    if (const auto count = numberOf(bundle, kCount)) {
        const std::string text = "is " + std::to_string(*count) + ", which counts as ";
        if (*count > kMaxCount) {
            report.wrong(subjectFor(kCount), text + std::to_string(kMaxCount), range);
        } else if (*count < 0) {
            report.wrong(subjectFor(kCount), text + "1", range);
        } else if (*count == 0) {
            report.doubt(subjectFor(kCount), text + std::to_string(kUsualCount), range);
        }
    }
    if (const auto speed = numberOf(bundle, kSpeed)) {
        const std::string text = "is " + std::to_string(*speed) + ", ";
        if (*speed < 0) {
            report.wrong(subjectFor(kSpeed), text + "which counts as 0", "give 0 or more");
        } else if (*speed > kMaxUsualSpeed) {
            report.doubt(subjectFor(kSpeed), text + "too fast to be seen",
                         "give a number from 1 to " + std::to_string(kMaxUsualSpeed));
        }
    }
}

void checkCredits(const CheckedBundle &bundle, const Reporter &report) {
    if (!bundle.description()) {
        return;
    }
    const auto isGiven = [&bundle](const char *key) {
        return bundle.description()->objectForKey(key) != nullptr;
    };
    if (!isGiven("license") && !isGiven("licence")) {
        report.advise(subjectFor("license"), "is missing, so nobody may pass the bundle on",
                      "name the licence, such as CC0-1.0 or CC-BY-4.0");
    }
    for (const auto &[key, words] :
         {std::pair{"author", "is missing, so lists cannot say whose it is"},
          std::pair{"name", "is missing, so lists show the folder's name"},
          std::pair{"summary", "is missing: one sentence for people who choose"}}) {
        if (!isGiven(key)) {
            report.advise(subjectFor(key), words, "add it");
        }
    }
}

} // namespace

std::vector<BundleRule> descriptionRules() {
    return {{"description", "description.plist is there and can be read", true, checkDescription},
            {"keys", "its keys are spelt as they are read", true, checkKeys},
            {"types", "its values have the types of their keys", true, checkTypes},
            {"ranges", "its numbers are within their limits", true, checkRanges},
            {"credits", "name, author, summary and licence are given", true, checkCredits}};
}

} // namespace Lumivera
