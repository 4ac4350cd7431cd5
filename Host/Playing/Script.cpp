#include "Host/Playing/Script.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleCall.h"
#include "Host/Wallpapers/WallpaperChoice.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace Lumivera {

namespace {

using Json = nlohmann::json;
using Kind = ScriptEvent::Kind;

constexpr std::uint64_t kMaxBytes = 64 << 20;
constexpr double kMaxFrame = 1e9;
constexpr double kMaxPosition = 1e9;

enum class Form { Numbers, Integers, True };

/// How the value of an event is written. One number stands alone, several in a list.
struct Rule {
    std::string_view name;
    Kind kind;
    Form form;
    std::size_t count;
    double min;
    double max;
};

constexpr Rule kRules[] = {
    {"tap", Kind::Tap, Form::Numbers, 2, -kMaxPosition, kMaxPosition},
    {"gesture", Kind::Gesture, Form::Numbers, 3, -kMaxPosition, kMaxPosition},
    {"sakuraCount", Kind::SakuraCount, Form::Integers, 1, 0, kMaxPetals},
    {"sakuraScaleLevel", Kind::SakuraScaleLevel, Form::Integers, 1, -kMaxScaleLevel,
     kMaxScaleLevel},
    {"speedLevel", Kind::SpeedLevel, Form::Integers, 1, 0, kMaxSpeed},
    {"offset", Kind::Offset, Form::Numbers, 1, -kMaxOffset, kMaxOffset},
    {"scale", Kind::Scale, Form::Numbers, 1, kMinScale, kMaxScale},
    {"tapClipRect", Kind::TapClipRect, Form::Numbers, 4, -kMaxPosition, kMaxPosition},
    {"setFrame", Kind::SetFrame, Form::Numbers, 4, -kMaxPosition, kMaxPosition},
    {"pause", Kind::Pause, Form::True, 0, 0, 0},
    {"resume", Kind::Resume, Form::True, 0, 0, 0},
};

std::string knownNames() {
    std::string names;
    for (const Rule &rule : kRules) {
        names.append(names.empty() ? "" : ", ").append(rule.name);
    }
    return names;
}

/// Reads the events of one file; its errors name the file and the event.
class Reader {
  public:
    explicit Reader(const std::string &fileName) : _fileName(fileName) {}

    ScriptEvent read(const Json &json, std::size_t index) {
        _index = index;
        if (!json.is_object() || json.size() != 2 || !json.contains("frame")) {
            fail("must have \"frame\" and one thing that happens");
        }
        ScriptEvent event;
        event.index = index;
        event.frame =
            static_cast<NSUInteger>(number(json["frame"], true, 0, kMaxFrame, "\"frame\""));
        for (const auto &[name, value] : json.items()) {
            if (name != "frame") {
                readValue(ruleFor(name), value, event);
            }
        }
        return event;
    }

  private:
    [[noreturn]] void fail(const std::string &problem, const std::string &advice = {}) const {
        throw HostError(_fileName, "event " + std::to_string(_index) + " " + problem, advice);
    }

    const Rule &ruleFor(const std::string &name) const {
        const auto rule = std::find_if(std::begin(kRules), std::end(kRules),
                                       [&](const Rule &known) { return known.name == name; });
        if (rule == std::end(kRules)) {
            fail("is of the unknown kind \"" + name + "\"", "use one of " + knownNames());
        }
        return *rule;
    }

    void readValue(const Rule &rule, const Json &value, ScriptEvent &event) const {
        event.kind = rule.kind;
        const std::string name = "\"" + std::string(rule.name) + "\"";
        if (rule.form == Form::True) {
            if (!value.is_boolean() || !value.get<bool>()) {
                fail("must give true for " + name);
            }
            return;
        }
        const bool isList = rule.count > 1;
        if (value.is_array() != isList || (isList && value.size() != rule.count)) {
            fail("must give " + std::to_string(rule.count) +
                 (isList ? " numbers in a list for " : " number for ") + name);
        }
        for (std::size_t i = 0; i < rule.count; ++i) {
            const bool isInteger =
                rule.form == Form::Integers || (rule.kind == Kind::Gesture && i == 0);
            event.numbers[i] =
                number(isList ? value[i] : value, isInteger, rule.min, rule.max, name);
        }
        if (rule.kind == Kind::SetFrame && (event.numbers[2] < 0 || event.numbers[3] < 0)) {
            fail("must give a size of 0 or more for " + name);
        }
    }

    double number(const Json &value, bool isInteger, double min, double max,
                  const std::string &name) const {
        if (!value.is_number() || (isInteger && !value.is_number_integer())) {
            fail(std::string("must give ") + (isInteger ? "a whole number" : "a number") + " for " +
                 name);
        }
        const double number = value.get<double>();
        if (!(number >= min && number <= max)) {
            fail("gives a number beyond its limits for " + name);
        }
        return number;
    }

    const std::string &_fileName;
    std::size_t _index = 0;
};

CGRect rectFrom(const std::array<double, 4> &numbers) {
    return CGRectMake(static_cast<CGFloat>(numbers[0]), static_cast<CGFloat>(numbers[1]),
                      static_cast<CGFloat>(numbers[2]), static_cast<CGFloat>(numbers[3]));
}

BundleCall::Kind callFor(Kind kind) {
    switch (kind) {
    case Kind::Tap:
        return BundleCall::Kind::Tap;
    case Kind::Gesture:
        return BundleCall::Kind::Gesture;
    case Kind::SpeedLevel:
        return BundleCall::Kind::SetSpeedLevel;
    case Kind::Scale:
        return BundleCall::Kind::SetScale;
    case Kind::SetFrame:
        return BundleCall::Kind::SetFrame;
    default:
        return BundleCall::Kind::OtherSetter;
    }
}

bool applyToPetals(const ScriptEvent &event, LumiveraView *view) {
    if (!view) {
        return false;
    }
    if (event.kind == Kind::SakuraCount) {
        view->setSakuraCount(static_cast<NSUInteger>(event.numbers[0]));
    } else {
        view->setSakuraScaleLevel(static_cast<std::int32_t>(event.numbers[0]));
    }
    return true;
}

} // namespace

bool ScriptEvent::applyTo(DeskTopView &view) const {
    const auto at = [this](std::size_t i) { return static_cast<CGFloat>(numbers[i]); };
    const BundleCall call(callFor(kind));
    switch (kind) {
    case Kind::Tap:
        view.tapActionAtViewPoint({at(0), at(1)});
        return true;
    case Kind::Gesture:
        view.gestureAction_atPoint(static_cast<std::int32_t>(numbers[0]), {at(1), at(2)});
        return true;
    case Kind::SakuraCount:
    case Kind::SakuraScaleLevel:
        return applyToPetals(*this, dynamic_cast<LumiveraView *>(&view));
    case Kind::SpeedLevel:
        view.setSpeedLevel(static_cast<NSInteger>(numbers[0]));
        return true;
    case Kind::Offset:
        view.setOffset(at(0));
        return true;
    case Kind::Scale:
        view.setScale(at(0));
        return true;
    case Kind::TapClipRect:
        view.setTapClipRect(rectFrom(numbers));
        return true;
    case Kind::SetFrame:
        view.setFrame(rectFrom(numbers));
        return true;
    case Kind::Pause:
    case Kind::Resume:
        break;
    }
    return true;
}

Script Script::parse(std::string_view text, const std::string &fileName) {
    const Json json = Json::parse(text, nullptr, false);
    if (json.is_discarded()) {
        throw HostError(fileName, "is no JSON", "write {\"events\": [...]}");
    }
    if (!json.is_object() || json.size() != 1 || !json.contains("events") ||
        !json["events"].is_array()) {
        throw HostError(fileName, "is no script", "write {\"events\": [...]}");
    }
    Script script;
    script._fileName = fileName;
    Reader reader(fileName);
    for (const Json &event : json["events"]) {
        script._events.push_back(reader.read(event, script._events.size()));
    }
    std::stable_sort(script._events.begin(), script._events.end(),
                     [](const ScriptEvent &a, const ScriptEvent &b) { return a.frame < b.frame; });
    return script;
}

Script Script::readFile(const std::string &path) {
    const auto bytes = ::readFile(path, kMaxBytes);
    if (!bytes) {
        throw HostError(path, "cannot be read", "give a script file");
    }
    return parse({reinterpret_cast<const char *>(bytes->data()), bytes->size()}, path);
}

} // namespace Lumivera
