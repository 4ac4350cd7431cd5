#include "Platform/Foundation/NSLog.h"

#include "Platform/Foundation/NSString.h"

#include <cstdio>
#include <mutex>
#include <syslog.h>
#include <unistd.h>

namespace {

struct LogSink {
    std::mutex mutex;
    std::function<void(std::string_view)> write;
};

/// Never destroyed, because destructors of static objects may log.
LogSink &sink() {
    static LogSink *const instance = new LogSink;
    return *instance;
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
    const std::string text = withoutControls(line);
    syslog(LOG_USER | LOG_INFO, "%s", text.c_str());
    if (isatty(STDERR_FILENO) == 1) {
        std::fprintf(stderr, "%s\n", text.c_str());
    }
}

void NSLogSetSink(std::function<void(std::string_view)> write) {
    const std::lock_guard lock(sink().mutex);
    sink().write = std::move(write);
}
