#include "Host/Commands/Command.h"

#include "Host/Commands/Making/PhotoBundle.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Desktop/Control/ControlRequest.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr const char *kHelp = "Controls the running desktop.";

constexpr const char *kSubject = "ctl";

constexpr auto kBetweenQuestions = std::chrono::milliseconds(500);

/// The year 9999.
constexpr double kMaxTime = 253402300799;

std::string absolutePath(const std::string &path) {
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    return error ? path : absolute.lexically_normal().string();
}

/// The absolute path of a bundle, because the host runs in another folder.
std::string bundlePath(const std::string &argument) {
    const std::string found = PhotoBundle::requireBundle(argument);
    std::error_code error;
    if (!fs::is_directory(found, error)) {
        throw HostError(argument, "there is no such bundle",
                        "see `lumivera list` for those that are installed");
    }
    return absolutePath(found);
}

std::string numberText(double number, int digits) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%.*f", digits, number);
    return text.data();
}

/// The member of an object; `otherwise` when it is missing or of another type.
template <typename Value>
Value member(const Json &object, const char *name, const Value &otherwise) {
    const auto found = object.find(name);
    if (found == object.end()) {
        return otherwise;
    }
    if constexpr (std::is_same_v<Value, std::string>) {
        return found->is_string() ? found->get<std::string>() : otherwise;
    } else {
        return found->is_number() ? found->get<Value>() : otherwise;
    }
}

std::string stateText(const Json &output) {
    std::string reasons;
    const auto found = output.find("pauseReasons");
    if (found != output.end() && found->is_array()) {
        for (const Json &reason : *found) {
            reasons.append(reasons.empty() ? "" : ", ");
            reasons.append(reason.is_string() ? reason.get<std::string>() : "?");
        }
    }
    return reasons.empty() ? "running" : "paused: " + reasons;
}

std::string wallpaperText(const Json &output) {
    const std::string bundle = member<std::string>(output, "bundle", "");
    const std::string failed = member<std::string>(output, "failedBundle", "");
    return (bundle.empty() ? "-" : bundle) + (failed.empty() ? "" : " (" + failed + " failed)");
}

std::vector<std::string> row(const Json &output) {
    const double petals = member(output, "petals", -1.0);
    return {member<std::string>(output, "output", "-"),
            numberText(member(output, "width", 0.0), 0) + "x" +
                numberText(member(output, "height", 0.0), 0),
            member<std::string>(output, "layer", "-"),
            petals < 0 ? "-" : numberText(petals, 0),
            numberText(member(output, "framesPerSecond", 0.0), 1),
            numberText(member(output, "cpuTime", 0.0), 2) + " s",
            stateText(output),
            wallpaperText(output)};
}

/// Why an output's wallpaper is where it is, as a line below the table.
std::string layerLine(const Json &output) {
    const std::string words = member<std::string>(output, "layerWords", "");
    const std::string remedy = member<std::string>(output, "layerRemedy", "");
    if (words.empty()) {
        return "";
    }
    return inOneLine(member<std::string>(output, "output", "-") + ": " + words +
                     (remedy.empty() ? "" : "; " + remedy)) +
           "\n";
}

std::string statusTable(const Json &json) {
    const auto outputs = json.find("outputs");
    if (outputs == json.end() || !outputs->is_array() || outputs->empty()) {
        return "There is no output.\n";
    }
    std::vector<std::vector<std::string>> rows{
        {"OUTPUT", "SIZE", "LAYER", "PETALS", "FPS", "CPU", "STATE", "WALLPAPER"}};
    std::string layers;
    for (const Json &output : *outputs) {
        rows.push_back(row(output));
        layers += layerLine(output);
    }
    return textTable(rows) + layers;
}

/// The date and the time of day here.
std::string timeText(double seconds) {
    const auto time = static_cast<std::time_t>(std::clamp(seconds, 0.0, kMaxTime));
    std::tm parts{};
    localtime_r(&time, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%F %T", &parts);
    return text.data();
}

/// A line of the host's own names the output and the bundle itself.
std::string logLine(const Json &line) {
    const std::string bundle = member<std::string>(line, "bundle", "");
    const bool isOfHost = member<std::string>(line, "source", "") == "host";
    const std::string whose =
        member<std::string>(line, "output", "-") + ": " + fs::path(bundle).stem().string() + ": ";
    return inOneLine(timeText(member(line, "time", 0.0)) + "  " + (isOfHost ? "" : whose) +
                     member<std::string>(line, "text", "")) +
           "\n";
}

Json objectFrom(const std::string &answer) {
    Json json = Json::parse(answer, nullptr, false);
    if (!json.is_object()) {
        throw HostError(kSubject, "the host's answer makes no sense",
                        "check that both are of the same version");
    }
    return json;
}

/// lumivera ctl: sends a request to the running host.
class CtlCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    CLI::App &declareAction(const char *name, const char *help);

    Json ask(std::string &answer) const;
    void printLog(const Json &json);
    void followLog();

    /// The command line as one line of the control protocol.
    std::string request() const;

    std::string _output;
    std::string _key;
    std::string _value;
    std::string _bundle;
    std::string _file;
    double _x = 0;
    double _y = 0;
    bool _asJson = false;
    bool _follows = false;
    std::uint64_t _knownLine = 0;
};

void CtlCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("ctl", kHelp);
    _app->require_subcommand(1);
    _app->add_option("--output", _output, "Only that output, instead of all")->type_name("NAME");
    _app->add_flag("--json", _asJson, "Prints the host's answer, for programs");
    declareAction("status", "Shows the state of every output.");
    declareAction("pause", "Pauses the wallpaper.");
    declareAction("resume", "Resumes the wallpaper.");
    CLI::App &set = declareAction("set", "Sets a value until the desktop ends.");
    set.footer("Keys: " + WallpaperChoice::keysText() + ".\nThe value \"default\" unsets the key.");
    set.add_option("KEY", _key, "The key to set")->required();
    set.add_option("VALUE", _value, "Its value, or \"default\"")->required();
    CLI::App &tap = declareAction("tap", "Taps the wallpaper.");
    tap.add_option("X", _x, "Points from the output's left edge")->required();
    tap.add_option("Y", _y, "Points from its top edge")->required();
    declareAction("offset", "Moves the wallpaper's content.")
        .add_option("X", _x, "Points to the right")
        ->required();
    declareAction("wallpaper", "Shows another wallpaper.")
        .add_option("BUNDLE", _bundle,
                    "The bundle's folder, the name of an installed one, or a photo")
        ->required();
    declareAction("screenshot", "Saves what one output shows.")
        .add_option("FILE", _file, "The PNG file to write")
        ->required();
    CLI::App &log =
        declareAction("log", "Shows what wallpapers have said, and what was said of them.");
    log.add_flag("-f,--follow", _follows, "Goes on with new lines until the desktop ends");
    declareAction("keep", "Keeps a desktop that was started with --try.");
    declareAction("quit", "Ends the desktop.");
}

void CtlCommand::run() {
    std::string answer;
    const Json json = ask(answer);
    if (_follows) {
        printLog(json);
        followLog();
    } else if (_asJson) {
        printToStandardOutput(safeJson(answer) + "\n");
    } else if (_app->got_subcommand("status")) {
        printToStandardOutput(statusTable(json));
    } else if (_app->got_subcommand("log")) {
        printLog(json);
    }
}

/// The host's answer, also as it is.
Json CtlCommand::ask(std::string &answer) const {
    const std::string request = this->request();
    const std::string problem = ControlRequest::parse(request).problem;
    if (!problem.empty()) {
        throw UsageError(kSubject, problem);
    }
    answer = ControlClient::ask(ControlPlace::standardFolder(), request);
    const Json json = objectFrom(answer);
    const auto ok = json.find("ok");
    if (ok == json.end() || !ok->is_boolean() || !ok->get<bool>()) {
        if (_asJson) {
            printToStandardOutput(safeJson(answer) + "\n");
        }
        throw HostError(kSubject, member<std::string>(json, "error", "the host refuses"));
    }
    return json;
}

/// Prints the lines that are new, and remembers the last one.
void CtlCommand::printLog(const Json &json) {
    const auto lines = json.find("lines");
    for (const Json &line : lines != json.end() && lines->is_array() ? *lines : Json::array()) {
        printToStandardOutput(_asJson ? safeJson(line.dump()) + "\n" : logLine(line));
    }
    _knownLine = member<std::uint64_t>(json, "latest", _knownLine);
}

/// A host that was started anew counts from the beginning.
void CtlCommand::followLog() {
    while (std::ferror(stdout) == 0) {
        std::this_thread::sleep_for(kBetweenQuestions);
        try {
            std::string answer;
            Json json = ask(answer);
            if (member<std::uint64_t>(json, "latest", 0) < _knownLine) {
                _knownLine = 0;
                json = ask(answer);
            }
            printLog(json);
        } catch (const NoHostError &) {
            return;
        }
    }
}

/// Fallthrough allows the options of ctl after the action as well.
CLI::App &CtlCommand::declareAction(const char *name, const char *help) {
    CLI::App *action = _app->add_subcommand(name, help);
    action->fallthrough();
    return *action;
}

std::string CtlCommand::request() const {
    const std::string action = _app->get_subcommands().front()->get_name();
    Json json;
    json["do"] = action;
    if (!_output.empty()) {
        json["output"] = _output;
    }
    if (action == "set") {
        json["key"] = _key;
        json["value"] = _key == "wallpaper" && _value != "default" ? bundlePath(_value) : _value;
    } else if (action == "tap") {
        json["x"] = _x;
        json["y"] = _y;
    } else if (action == "offset") {
        json["x"] = _x;
    } else if (action == "wallpaper") {
        json["bundle"] = bundlePath(_bundle);
    } else if (action == "screenshot") {
        json["file"] = absolutePath(_file);
    } else if (action == "log") {
        json["after"] = _knownLine;
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace

std::unique_ptr<Command> makeCtlCommand() { return std::make_unique<CtlCommand>(); }

} // namespace Lumivera
