#include "Host/Desktop/Control/ControlRequest.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

namespace Lumivera {

namespace {

using Json = nlohmann::json;
using Action = ControlRequest::Action;

constexpr std::size_t kMaxIdentifier = 256;
constexpr std::size_t kMaxPath = 4096;

constexpr std::pair<std::string_view, std::optional<SurfaceVisibility>> kCovers[] = {
    {"none", SurfaceVisibility::Visible},
    {"covered", SurfaceVisibility::Covered},
    {"fullscreen", SurfaceVisibility::FullScreen},
    {"unknown", std::nullopt},
};

/// The value of a field: a text, or a number with its text.
struct Field {
    enum class Kind { Text, Number, Other } kind = Kind::Other;
    std::string text;
    double number = 0;
};

/// Collects the texts and numbers of one object during parsing. It stops at nested values, so that
/// deeply nested text causes no deep recursion.
class FieldReader final : public nlohmann::json_sax<Json> {
  public:
    std::map<std::string, Field> fields;
    std::string problem;

    bool null() override { return add({}); }
    bool boolean(bool) override { return add({}); }
    bool number_integer(Json::number_integer_t number) override {
        return add(
            {Field::Kind::Number, textOfNumber(std::int64_t{number}), static_cast<double>(number)});
    }
    bool number_unsigned(Json::number_unsigned_t number) override {
        return add({Field::Kind::Number, textOfNumber(std::uint64_t{number}),
                    static_cast<double>(number)});
    }
    bool number_float(Json::number_float_t number, const std::string &) override {
        return add({Field::Kind::Number, textOfNumber(double{number}), number});
    }
    bool string(std::string &text) override { return add({Field::Kind::Text, text, 0}); }
    bool binary(Json::binary_t &) override { return fail("is no JSON"); }
    bool start_object(std::size_t) override {
        const bool isFirst = !_isInObject;
        _isInObject = true;
        return isFirst || fail(inQuotes(_key) + " is neither a text nor a number");
    }
    bool key(std::string &name) override {
        _key = name;
        return !fields.contains(name) || fail(inQuotes(name) + " is given twice");
    }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override {
        return fail(_isInObject ? inQuotes(_key) + " is neither a text nor a number"
                                : "a request is one JSON object");
    }
    bool end_array() override { return true; }
    bool parse_error(std::size_t, const std::string &, const Json::exception &) override {
        return fail("a request is one JSON object in one line");
    }

    static std::string inQuotes(const std::string &name) { return "\"" + name + "\""; }

  private:
    bool add(Field field) {
        if (!_isInObject) {
            return fail("a request is one JSON object");
        }
        fields[_key] = std::move(field);
        return true;
    }

    bool fail(const std::string &what) {
        problem = problem.empty() ? what : problem;
        return false;
    }

    std::string _key;
    bool _isInObject = false;
};

struct ActionName {
    std::string_view name;
    Action action;

    /// The fields that the action requires besides "do"; "output" and "id" are optional.
    std::vector<std::string> fields;

    /// One more that is optional.
    std::string optionalField = {};
};

const std::vector<ActionName> &actionNames() {
    static const std::vector<ActionName> names{
        {"status", Action::Status, {}},
        {"pause", Action::Pause, {}},
        {"resume", Action::Resume, {}},
        {"set", Action::Choose, {"key", "value"}},
        {"tap", Action::Tap, {"x", "y"}},
        {"cover", Action::Cover, {"state"}},
        {"offset", Action::Choose, {"x"}},
        {"wallpaper", Action::Choose, {"bundle"}},
        {"screenshot", Action::Screenshot, {"file"}},
        {"log", Action::Log, {}, "after"},
        {"keep", Action::Keep, {}},
        {"quit", Action::Quit, {}},
    };
    return names;
}

std::string knownActions() {
    std::string text;
    for (const ActionName &known : actionNames()) {
        text.append(text.empty() ? "" : ", ").append(known.name);
    }
    return text;
}

class Refusal final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Makes a request of the fields; throws a Refusal for invalid ones.
class RequestMaker {
  public:
    RequestMaker(const std::map<std::string, Field> &fields, ControlRequest &request)
        : _fields(fields), _request(request) {}

    void make() {
        const ActionName &what = action();
        _request.action = what.action;
        checkFields(what);
        if (_fields.contains("output")) {
            _request.output = text("output");
        }
        if (what.action == Action::Choose) {
            readChoice(what.name);
        } else if (what.action == Action::Tap) {
            _request.point = {coordinate("x"), coordinate("y")};
        } else if (what.action == Action::Cover) {
            _request.cover = cover();
        } else if (what.action == Action::Screenshot) {
            _request.file = absolutePath("file");
        } else if (what.action == Action::Log && _fields.contains("after")) {
            _request.after = lineNumber("after");
        }
    }

  private:
    [[noreturn]] static void fail(const std::string &problem) { throw Refusal(problem); }

    const ActionName &action() const {
        if (!_fields.contains("do")) {
            fail("\"do\" is missing; use one of " + knownActions());
        }
        const std::string name = text("do");
        for (const ActionName &known : actionNames()) {
            if (known.name == name) {
                return known;
            }
        }
        fail("\"" + name + "\" is nothing to do; use one of " + knownActions());
    }

    void checkFields(const ActionName &what) const {
        for (const std::string &name : what.fields) {
            if (!_fields.contains(name)) {
                fail("\"" + name + "\" is missing");
            }
        }
        for (const auto &[name, field] : _fields) {
            const bool isCommon =
                name == "do" || name == "output" || name == "id" || name == what.optionalField;
            if (!isCommon && std::count(what.fields.begin(), what.fields.end(), name) == 0) {
                fail("\"" + name + "\" is no field of \"" + std::string(what.name) + "\"");
            }
        }
    }

    std::string text(const std::string &name) const {
        const Field &field = _fields.at(name);
        if (field.kind != Field::Kind::Text || field.text.find('\0') != std::string::npos) {
            fail("\"" + name + "\" is not a text");
        }
        return field.text;
    }

    CGFloat coordinate(const std::string &name) const {
        const Field &field = _fields.at(name);
        if (field.kind != Field::Kind::Number || !(std::fabs(field.number) <= kMaxOffset)) {
            fail("\"" + name + "\" is not a number from -100000 to 100000");
        }
        return static_cast<CGFloat>(field.number);
    }

    std::uint64_t lineNumber(const std::string &name) const {
        constexpr double kMost = 9007199254740992; // of whole numbers that a double has
        const Field &field = _fields.at(name);
        const double number = field.number;
        if (field.kind != Field::Kind::Number || !(number >= 0 && number <= kMost) ||
            std::floor(number) != number) {
            fail("\"" + name + "\" is not a line's number");
        }
        return static_cast<std::uint64_t>(number);
    }

    std::optional<SurfaceVisibility> cover() const {
        const std::string state = text("state");
        for (const auto &[name, visibility] : kCovers) {
            if (state == name) {
                return visibility;
            }
        }
        fail("\"state\" is not one of none, covered, fullscreen and unknown");
    }

    std::string absolutePath(const std::string &name) const {
        std::string path = text(name);
        if (!path.starts_with('/') || path.size() > kMaxPath) {
            fail("\"" + name + "\" is not an absolute path");
        }
        return path;
    }

    void readChoice(std::string_view name) const {
        if (name == "offset") {
            _request.choice.offset = coordinate("x");
        } else if (name == "wallpaper") {
            set("wallpaper", text("bundle"));
        } else {
            const Field &value = _fields.at("value");
            if (value.kind == Field::Kind::Other) {
                fail("\"value\" is neither a text nor a number");
            }
            set(text("key"), value.text);
        }
    }

    /// Refuses relative paths: the host does not know the client's folder.
    void set(const std::string &key, const std::string &value) const {
        const std::string problem = _request.choice.trySet(key, value);
        if (!problem.empty()) {
            fail(problem);
        }
        if (!_request.choice.textOf(key)) {
            _request.action = Action::Forget;
            _request.key = key;
        }
        const auto &bundle = _request.choice.bundle;
        if (bundle && bundle->find('/') != std::string::npos && !bundle->starts_with('/')) {
            fail("\"wallpaper\" is neither an absolute path nor a name");
        }
    }

    const std::map<std::string, Field> &_fields;
    ControlRequest &_request;
};

/// The identifier as JSON; empty where there is none or it is too long.
std::string identifierFrom(const std::map<std::string, Field> &fields) {
    const auto found = fields.find("id");
    if (found == fields.end() || found->second.text.size() > kMaxIdentifier) {
        return {};
    }
    const Field &field = found->second;
    return field.kind == Field::Kind::Text ? Json(field.text).dump() : field.text;
}

} // namespace

ControlRequest ControlRequest::parse(std::string_view text) {
    ControlRequest request;
    FieldReader reader;
    if (text.size() > kMaxBytes) {
        request.problem = lengthProblem();
        return request;
    }
    Json::sax_parse(text.begin(), text.end(), &reader);
    request.identifier = identifierFrom(reader.fields);
    try {
        if (!reader.problem.empty()) {
            throw Refusal(reader.problem);
        }
        RequestMaker(reader.fields, request).make();
    } catch (const Refusal &refusal) {
        request.problem = inOneLine(refusal.what());
    }
    return request;
}

std::string ControlRequest::lengthProblem() {
    return "a request is at most " + std::to_string(kMaxBytes) + " bytes long";
}

} // namespace Lumivera
