#pragma once

#include <mutex>
#include <string>
#include <string_view>

namespace Lumivera {

/// The system's log, which is never waited for: a line is lost when the log takes none at that
/// moment. Any thread.
class SystemLog {
  public:
    static constexpr const char *kStandardPath = "/dev/log";

    explicit SystemLog(std::string path = kStandardPath) : _path(std::move(path)) {}
    ~SystemLog();

    SystemLog(const SystemLog &) = delete;
    SystemLog &operator=(const SystemLog &) = delete;

    /// Longer lines are cut.
    static constexpr std::size_t kMaxBytes = 2048;

    /// Sends a line without control characters, under this program's name.
    void write(std::string_view line);

  private:
    bool send(const std::string &packet) const;
    void connect();
    void disconnect();

    const std::string _path;
    std::mutex _mutex;
    int _descriptor = -1;
};

} // namespace Lumivera
