// A script of events is either refused with one line that names the file, or gives a sorted list
// whose numbers can be passed to a view as they are.

#include "Host/Playing/Script.h"
#include "Host/Support/HostError.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string_view>

namespace {

using Lumivera::Script;
using Lumivera::ScriptEvent;

constexpr double kMaxNumber = 2147483647;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool isWhole(double number) { return number == std::trunc(number); }

void checkNumbers(const ScriptEvent &event) {
    for (const double number : event.numbers) {
        require(std::fabs(number) <= kMaxNumber);
    }
    switch (event.kind) {
    case ScriptEvent::Kind::SakuraCount:
    case ScriptEvent::Kind::SpeedLevel:
        require(isWhole(event.numbers[0]) && event.numbers[0] >= 0);
        break;
    case ScriptEvent::Kind::Gesture:
    case ScriptEvent::Kind::SakuraScaleLevel:
        require(isWhole(event.numbers[0]));
        break;
    case ScriptEvent::Kind::SetFrame:
        require(event.numbers[2] >= 0 && event.numbers[3] >= 0);
        break;
    default:
        break;
    }
}

void checkEvents(const Script &script) {
    std::set<std::size_t> indexes;
    const ScriptEvent *previous = nullptr;
    for (const ScriptEvent &event : script.events()) {
        checkNumbers(event);
        require(indexes.insert(event.index).second && event.index < script.events().size());
        require(!previous || previous->frame < event.frame ||
                (previous->frame == event.frame && previous->index < event.index));
        previous = &event;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    try {
        checkEvents(Script::parse(text, "script.json"));
    } catch (const Lumivera::HostError &error) {
        const std::string_view line = error.what();
        require(line.starts_with("script.json: ") && line.find('\n') == std::string_view::npos);
    }
    return 0;
}
