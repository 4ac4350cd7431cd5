#include "Platform/Foundation/NSLog.h"

#include <algorithm>
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

void writeToTerminal(std::string line) {
    const auto isControl = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7f;
    };
    std::replace_if(line.begin(), line.end(), isControl, '?');
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
