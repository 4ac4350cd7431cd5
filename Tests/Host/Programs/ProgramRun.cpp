#include "Tests/Host/Programs/ProgramRun.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string programPath() { return LUMIVERA_BUILD_DIR "/bin/lumivera"; }

std::string readAll(int file) {
    std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    close(file);
    return text;
}

void changeEnvironment(const std::vector<std::string> &changes) {
    for (const std::string &change : changes) {
        const std::size_t equals = change.find('=');
        if (equals == std::string::npos) {
            unsetenv(change.c_str());
        } else {
            setenv(change.substr(0, equals).c_str(), change.substr(equals + 1).c_str(), 1);
        }
    }
}

void limitTo(std::optional<std::uint64_t> most, decltype(RLIMIT_AS) resource) {
    rlimit limit{};
    if (most && getrlimit(resource, &limit) == 0) {
        limit.rlim_cur = *most;
        setrlimit(resource, &limit);
    }
}

void prepareChild(const ProgramRun::Options &options, int output, int errors) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    changeEnvironment(options.environment);
    limitTo(options.largestFile, RLIMIT_FSIZE);
    limitTo(options.mostMemory, RLIMIT_AS);
    if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) {
        _exit(126);
    }
}

} // namespace

ProgramRun::ProgramRun(const std::vector<std::string> &arguments, const Options &options) {
    const int output = memfd_create("output", MFD_CLOEXEC);
    const int errors = memfd_create("errors", MFD_CLOEXEC);
    _status = waitFor(begin(arguments, options, output, errors));
    _output = readAll(output);
    _errors = readAll(errors);
}

bool ProgramRun::saysOneLine() const {
    return _errors.starts_with("lumivera: ") && _errors.ends_with('\n') &&
           std::count(_errors.begin(), _errors.end(), '\n') == 1;
}

pid_t ProgramRun::begin(const std::vector<std::string> &arguments, const Options &options,
                        int output, int errors) {
    const std::string program = programPath();
    std::vector<char *> pointers{const_cast<char *>(program.c_str())};
    for (const std::string &argument : arguments) {
        pointers.push_back(const_cast<char *>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        prepareChild(options, output, errors);
        execv(program.c_str(), pointers.data());
        _exit(127);
    }
    return process;
}

int ProgramRun::waitFor(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string contentsOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::vector<std::string>> commandsIn(const std::string &page) {
    std::istringstream lines(contentsOf(LUMIVERA_SOURCE_DIR "/Docs/" + page));
    std::vector<std::vector<std::string>> commands;
    for (std::string line; std::getline(lines, line);) {
        line = line.substr(line.starts_with("$ ") ? 2 : 0);
        std::istringstream words(line.substr(0, line.find(" # ")));
        std::string program;
        if (line.starts_with("lumivera ") && words >> program) {
            commands.emplace_back(std::istream_iterator<std::string>(words),
                                  std::istream_iterator<std::string>());
        }
    }
    return commands;
}

std::string shippedBundle(const std::string &name) {
    return LUMIVERA_BUILD_DIR "/share/lumivera/wallpapers/" + name;
}

std::string copyOfShippedBundle(const std::string &folder) {
    const std::string path = folder + "/Copy.bundle";
    std::filesystem::copy(shippedBundle("Lumivera.bundle"), path);
    return path;
}

std::string bundleWithDescription(const std::string &folder, const std::string &description) {
    const std::string path = folder + "/Made.bundle";
    std::filesystem::create_directory(path);
    std::ofstream(path + "/description.plist", std::ios::binary) << description;
    return path;
}

std::string testBundle(const std::string &folder, const std::string &wallpaper) {
    const std::string path = bundleWithDescription(
        folder, propertyList("<key>name Library</key><string>test.so</string>"));
    std::filesystem::copy_file(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/lib" + wallpaper + ".so",
                               path + "/test.so");
    return path;
}

std::string propertyList(const std::string &entries) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>" + entries +
           "</dict></plist>";
}
