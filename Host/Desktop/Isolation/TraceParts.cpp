#include "Host/Desktop/Isolation/TraceParts.h"

#include "Host/Support/Printing.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Lumivera {

namespace {

bool isControl(char character) { return static_cast<unsigned char>(character) < 0x20; }

bool isPlain(char character) { return static_cast<unsigned char>(character) < 0x7f; }

} // namespace

void sendTrace(const PacketSocket &host, std::string_view line) {
    ViewReport report;
    report.kind = ViewReport::Kind::Trace;
    while (!line.empty()) {
        const std::string_view part = line.substr(0, sizeof report.text);
        report.count = static_cast<std::uint32_t>(part.size());
        std::memcpy(report.text, part.data(), part.size());
        host.send(&report, offsetof(ViewReport, text) + part.size(), PacketSocket::Wait::Yes);
        line.remove_prefix(part.size());
    }
}

bool TraceParts::take(const ViewReport &report, std::size_t bytes) {
    if (report.count == 0 || report.count > sizeof report.text ||
        bytes != offsetof(ViewReport, text) + report.count ||
        _line.size() + report.count > kMaxBytes ||
        std::any_of(report.text, report.text + report.count, isControl)) {
        return false;
    }
    _line.append(report.text, report.count);
    return true;
}

std::string TraceParts::takeLine() {
    std::string line = std::exchange(_line, {});
    return std::all_of(line.begin(), line.end(), isPlain) ? line : safeJson(line);
}

} // namespace Lumivera
