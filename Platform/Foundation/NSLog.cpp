#include "Platform/Foundation/NSLog.h"

#include <cstdio>
#include <mutex>
#include <syslog.h>
#include <unistd.h>

namespace {

struct LogSink {
    std::mutex mutex;
    std::function<void(std::string_view)> write;
};

// Never destroyed: destructors of static objects may still log.
LogSink &sink() {
    static LogSink *const instance = new LogSink;
    return *instance;
}

/// The C0 controls, delete, and the C1 controls as UTF-8 writes them: C2 80 to C2 9F.
bool isControl(const std::string &line, std::size_t i) {
    const auto byte = static_cast<unsigned char>(line[i]);
    const auto next = static_cast<unsigned char>(line.c_str()[i + 1]);
    return byte < 0x20 || byte == 0x7f || (byte == 0xc2 && next >= 0x80 && next < 0xa0);
}

void writeToTerminal(std::string line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (isControl(line, i)) {
            line.replace(i, line[i] == '\xc2' ? 2 : 1, "?");
        }
    }
    std::fprintf(stderr, "%s\n", line.c_str());
}

} // namespace

void NSLog(std::string_view line) {
    {
        const std::lock_guard lock(sink().mutex);
        if (sink().write) {
            sink().write(line);
            return;
        }
    }
    syslog(LOG_USER | LOG_INFO, "%.*s", static_cast<int>(line.size()), line.data());
    if (isatty(STDERR_FILENO) == 1) {
        writeToTerminal(std::string(line));
    }
}

void NSLogSetSink(std::function<void(std::string_view)> write) {
    const std::lock_guard lock(sink().mutex);
    sink().write = std::move(write);
}
