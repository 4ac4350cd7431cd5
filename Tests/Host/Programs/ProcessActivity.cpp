#include "Tests/Host/Programs/ProcessActivity.h"

#include "Tests/Host/Programs/ProgramRun.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

namespace {

/// The fields of the process's status line from the third on, which is the first behind its name.
std::vector<std::string> fieldsOf(pid_t process) {
    const std::string line = contentsOf("/proc/" + std::to_string(process) + "/stat");
    std::istringstream fields(line.substr(std::min(line.rfind(')') + 1, line.size())));
    std::vector<std::string> texts;
    for (std::string field; fields >> field;) {
        texts.push_back(field);
    }
    return texts;
}

} // namespace

#ifdef __SANITIZE_THREAD__

long activityOf(pid_t process) {
    const auto fields = fieldsOf(process);
    return fields.size() > 12 ? std::atol(fields[11].c_str()) + std::atol(fields[12].c_str()) : 0;
}

#else

/// Switches of context that a thread made because it waited, and that were forced upon it.
static long switchesOf(const std::string &threadFolder) {
    std::istringstream status(contentsOf(threadFolder + "/status"));
    long switches = 0;
    for (std::string line; std::getline(status, line);) {
        if (line.find("voluntary_ctxt_switches:") != std::string::npos) {
            switches += std::atol(line.c_str() + line.find(':') + 1);
        }
    }
    return switches;
}

long activityOf(pid_t process) {
    long switches = 0;
    std::error_code error;
    const std::string threads = "/proc/" + std::to_string(process) + "/task";
    for (const auto &thread : std::filesystem::directory_iterator(threads, error)) {
        switches += switchesOf(thread.path());
    }
    return switches;
}

#endif

std::vector<pid_t> childrenOf(pid_t process) {
    std::vector<pid_t> found;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const pid_t child = std::atoi(entry.path().filename().c_str());
        const auto fields = child > 0 ? fieldsOf(child) : std::vector<std::string>();
        if (fields.size() > 1 && std::atoi(fields[1].c_str()) == process) {
            found.push_back(child);
        }
    }
    return found;
}
