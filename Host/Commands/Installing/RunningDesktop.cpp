#include "Host/Commands/Installing/RunningDesktop.h"

#include "Host/Desktop/Control/ControlClient.h"

#include <filesystem>
#include <nlohmann/json.hpp>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

std::string textMember(const Json &object, const char *name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

/// True when both paths lead to one place, whether or not something is there.
bool isSame(const std::string &path, const std::string &other) {
    std::error_code error;
    return !path.empty() && fs::weakly_canonical(path, error) == fs::weakly_canonical(other, error);
}

} // namespace

std::vector<std::string> RunningDesktop::outputsWith(const std::string &bundle) const {
    std::vector<std::string> names;
    std::string answer;
    try {
        answer = ControlClient::ask(_folder, R"({"do":"status"})");
    } catch (const NoHostError &) {
        return names;
    }
    const Json status = Json::parse(answer, nullptr, false);
    const auto outputs = status.is_object() ? status.find("outputs") : status.end();
    if (outputs == status.end() || !outputs->is_array()) {
        return names;
    }
    for (const Json &output : *outputs) {
        if (output.is_object() && (isSame(textMember(output, "bundle"), bundle) ||
                                   isSame(textMember(output, "failedBundle"), bundle))) {
            names.push_back(textMember(output, "output"));
        }
    }
    return names;
}

void RunningDesktop::showAnew(const std::string &bundle) const {
    for (const std::string &output : outputsWith(bundle)) {
        const Json request{{"do", "wallpaper"}, {"output", output}, {"bundle", bundle}};
        ControlClient::ask(_folder, request.dump(-1, ' ', false, Json::error_handler_t::replace));
    }
}

} // namespace Lumivera
