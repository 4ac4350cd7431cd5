// A request to a running host is either refused in one line, or is something that the host can do
// as it is. Lines with equal fields mean the same.

#include "Host/Desktop/Control/ControlRequest.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

namespace {

using Lumivera::ControlRequest;
using Lumivera::WallpaperChoice;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool hasControls(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20) {
            return true;
        }
    }
    return false;
}

void checkChoice(const WallpaperChoice &choice) {
    WallpaperChoice again;
    for (const WallpaperChoice::Key &key : WallpaperChoice::keys()) {
        if (const auto text = choice.textOf(key.name)) {
            require(again.trySet(key.name, *text).empty());
        }
    }
    require(!choice.bundle ||
            (!choice.bundle->empty() &&
             (choice.bundle->starts_with('/') || choice.bundle->find('/') == std::string::npos)));
}

void checkRequest(const ControlRequest &request) {
    checkChoice(request.choice);
    require(std::isfinite(request.point.x) && std::isfinite(request.point.y));
    require(!request.cover || request.action == ControlRequest::Action::Cover);
    require(request.output.find('\0') == std::string::npos);
    if (request.action == ControlRequest::Action::Screenshot) {
        require(request.file.starts_with('/') && request.file.find('\0') == std::string::npos);
    } else {
        require(request.file.empty());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const ControlRequest request = ControlRequest::parse(text);
    if (request.problem.empty()) {
        checkRequest(request);
    }
    require(!hasControls(request.problem));
    if (!request.identifier.empty()) {
        const auto identifier = nlohmann::json::parse(request.identifier, nullptr, false);
        require(identifier.is_string() || identifier.is_number());
    }
    return 0;
}
