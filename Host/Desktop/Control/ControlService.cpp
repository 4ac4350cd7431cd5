#include "Host/Desktop/Control/ControlService.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <nlohmann/json.hpp>
#include <unistd.h>

namespace Lumivera {

namespace {

using Json = nlohmann::ordered_json;
using Action = ControlRequest::Action;

/// Replaces invalid UTF-8, because names of outputs and files may have any bytes.
std::string line(const Json &json) {
    return safeJson(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

Json answerTo(const std::string &identifier, bool isOk) {
    Json answer;
    answer["ok"] = isOk;
    if (!identifier.empty()) {
        answer["id"] = Json::parse(identifier, nullptr, false);
    }
    return answer;
}

std::string success(const std::string &identifier) { return line(answerTo(identifier, true)); }

Json statusJson(const OutputStatus &status) {
    Json json;
    json["output"] = status.output;
    json["width"] = status.width;
    json["height"] = status.height;
    json["density"] = status.density;
    json["bundle"] = status.bundle;
    if (!status.failedBundle.empty()) {
        json["failedBundle"] = status.failedBundle;
    }
    if (status.petals) {
        json["petals"] = *status.petals;
    }
    json["layer"] = status.layer;
    json["layerWords"] = status.layerWords;
    if (!status.layerRemedy.empty()) {
        json["layerRemedy"] = status.layerRemedy;
    }
    json["taps"] = status.taps;
    json["frames"] = status.frames;
    json["framesPerSecond"] = status.framesPerSecond;
    json["cpuTime"] = status.cpuTime;
    json["pauseReasons"] = status.pauseReasons;
    return json;
}

} // namespace

ControlService::ControlService(ControlTarget &target, std::string desktop)
    : _target(target), _desktop(std::move(desktop)) {}

void ControlService::execute(std::uint64_t program, const ControlRequest &request,
                             const Answered &answered) {
    if (!request.problem.empty()) {
        answered(refusal(request.problem, request.identifier));
        return;
    }
    try {
        if (request.action == Action::Screenshot) {
            _target.saveScreenshot(
                request.output, request.file,
                [answered, id = request.identifier](const std::optional<std::string> &problem) {
                    answered(problem ? refusal(*problem, id) : success(id));
                });
        } else {
            answered(resultOf(program, request));
        }
    } catch (const HostError &error) {
        answered(refusal(error.what(), request.identifier));
    }
}

std::string ControlService::refusal(std::string_view problem, const std::string &identifier) {
    Json answer = answerTo(identifier, false);
    answer["error"] = inOneLine(problem);
    return line(answer);
}

std::string ControlService::resultOf(std::uint64_t program, const ControlRequest &request) {
    switch (request.action) {
    case Action::Status:
        return status(request);
    case Action::Log:
        return log(request);
    case Action::Pause:
    case Action::Resume:
        _target.setPaused(request.output, request.action == Action::Pause);
        break;
    case Action::Choose:
        _target.choose(request.output, request.choice);
        break;
    case Action::Forget:
        _target.forget(request.output, request.key);
        break;
    case Action::Tap:
        _target.tap(request.output, request.point);
        break;
    case Action::Cover:
        _target.setCover(program, request.output, request.cover);
        break;
    case Action::Keep:
        _target.keep();
        break;
    case Action::Quit:
        _target.quit();
        break;
    case Action::Screenshot:
        break;
    }
    return success(request.identifier);
}

std::string ControlService::status(const ControlRequest &request) {
    Json answer = answerTo(request.identifier, true);
    answer["host"]["pid"] = getpid();
    answer["host"]["desktop"] = _desktop;
    answer["host"]["version"] = LUMIVERA_VERSION;
    Json outputs = Json::array();
    for (const OutputStatus &output : _target.status(request.output)) {
        outputs.push_back(statusJson(output));
    }
    answer["outputs"] = outputs;
    return line(answer);
}

/// The name of an output that has gone is no error: its lines are still there.
std::string ControlService::log(const ControlRequest &request) {
    Json answer = answerTo(request.identifier, true);
    answer["latest"] = _target.log().latest();
    Json lines = Json::array();
    for (const WallpaperLine &line : _target.log().lines()) {
        if (line.number > request.after &&
            (request.output.empty() || request.output == line.output)) {
            lines.push_back({{"number", line.number},
                             {"time", line.time},
                             {"output", line.output},
                             {"bundle", line.bundle},
                             {"source", nameOf(line.source)},
                             {"text", line.text}});
        }
    }
    answer["lines"] = lines;
    return line(answer);
}

} // namespace Lumivera
