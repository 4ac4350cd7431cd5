#pragma once

#include "Platform/Foundation/NSLog.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// Collects what is logged while it exists, instead of the system log.
class LogLines {
  public:
    LogLines() {
        NSLogSetSink([this](std::string_view line) {
            const std::lock_guard lock(_mutex);
            _lines.emplace_back(line);
        });
    }

    ~LogLines() { NSLogSetSink(nullptr); }
    LogLines(const LogLines &) = delete;
    LogLines &operator=(const LogLines &) = delete;

    std::vector<std::string> lines() const {
        const std::lock_guard lock(_mutex);
        return _lines;
    }

  private:
    mutable std::mutex _mutex;
    std::vector<std::string> _lines;
};
