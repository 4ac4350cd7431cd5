#include "Tests/Host/Programs/ProcessActivity.h"

#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace {

namespace fs = std::filesystem;

/// The fields of a stat file from the third on, which is the first behind the name: that may hold
/// spaces.
std::vector<std::string> fieldsOf(const std::string &folder) {
    const std::string line = contentsOf(folder + "/stat");
    std::istringstream fields(line.substr(std::min(line.rfind(')') + 1, line.size())));
    std::vector<std::string> texts;
    for (std::string field; fields >> field;) {
        texts.push_back(field);
    }
    return texts;
}

std::string folderOf(pid_t process) { return "/proc/" + std::to_string(process); }

std::vector<std::string> threadFolders(pid_t process) {
    std::vector<std::string> folders;
    std::error_code error;
    for (const auto &thread : fs::directory_iterator(folderOf(process) + "/task", error)) {
        folders.push_back(thread.path());
    }
    return folders;
}

} // namespace

#ifdef __SANITIZE_THREAD__

std::map<std::string, long> activitiesOf(pid_t process) {
    const auto fields = fieldsOf(folderOf(process));
    if (fields.size() <= 12) {
        return {};
    }
    return {{"process " + std::to_string(process),
             std::atol(fields[11].c_str()) + std::atol(fields[12].c_str())}};
}

#else

/// The thread's context switches, voluntary and involuntary ones.
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

std::map<std::string, long> activitiesOf(pid_t process) {
    std::map<std::string, long> activities;
    for (const std::string &folder : threadFolders(process)) {
        std::string name = contentsOf(folder + "/comm");
        name = name.substr(0, name.find('\n'));
        activities[name + " " + fs::path(folder).filename().string()] = switchesOf(folder);
    }
    return activities;
}

#endif

long activityOf(pid_t process) {
    long sum = 0;
    for (const auto &[thread, activity] : activitiesOf(process)) {
        sum += activity;
    }
    return sum;
}

bool comesToRest(pid_t process) {
    long before = activityOf(process);
    return eventually([&] {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        return std::exchange(before, activityOf(process)) == before;
    });
}

bool isStopped(pid_t process) {
    const auto folders = threadFolders(process);
    return !folders.empty() && std::all_of(folders.begin(), folders.end(), [](const auto &folder) {
        const auto fields = fieldsOf(folder);
        return !fields.empty() && fields[0] == "T";
    });
}

std::vector<pid_t> childrenOf(pid_t process) {
    std::vector<pid_t> found;
    for (const auto &entry : fs::directory_iterator("/proc")) {
        const pid_t child = std::atoi(entry.path().filename().c_str());
        const auto fields = child > 0 ? fieldsOf(entry.path()) : std::vector<std::string>();
        if (fields.size() > 1 && std::atoi(fields[1].c_str()) == process) {
            found.push_back(child);
        }
    }
    return found;
}
