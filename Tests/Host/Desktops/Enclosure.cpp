#include "Tests/Host/Desktops/Enclosure.h"

#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// The first process inside. The session's sockets in /tmp are its own, but for its X server's. It
/// waits for orphans, as the first process must.
constexpr const char *kFirstProcess = R"(
folder=$1 inside=$1/tmp/${1##*/} server=.X11-unix/X${2#:}
mkdir -p "$inside" "$folder/tmp/.X11-unix" "$folder/tmp/.ICE-unix"
chmod 1777 "$folder/tmp" "$folder/tmp/.X11-unix" "$folder/tmp/.ICE-unix"
touch "$folder/tmp/$server"
mount --bind "/tmp/$server" "$folder/tmp/$server" &&
    mount --bind "$folder" "$inside" &&
    mount --rbind "$folder/tmp" "${folder%/*}" || exit 1
touch "$folder/is-open"
sleep infinity &
wait
)";

bool isRoot() { return geteuid() == 0; }

constexpr uid_t kNobody = 65534;

uid_t userInside() { return isRoot() ? kNobody : geteuid(); }

/// Starts a program that ends with the test.
pid_t startProgram(const std::vector<std::string> &arguments, int output) {
    std::vector<char *> words;
    for (const std::string &argument : arguments) {
        words.push_back(const_cast<char *>(argument.c_str()));
    }
    words.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        execvp(words[0], words.data());
        _exit(127);
    }
    return process;
}

std::string namespaceOf(pid_t process) {
    std::error_code error;
    return fs::read_symlink("/proc/" + std::to_string(process) + "/ns/pid", error);
}

/// Whether a process bears the name, or runs a script of that name.
bool isCalled(pid_t process, const std::string &name) {
    const std::string folder = "/proc/" + std::to_string(process);
    const std::string script = "/" + name + std::string(1, '\0');
    return contentsOf(folder + "/comm") == name + "\n" ||
           contentsOf(folder + "/cmdline").find(script) != std::string::npos;
}

bool hasEnded(pid_t process) {
    const std::string stat = contentsOf("/proc/" + std::to_string(process) + "/stat");
    const std::size_t state = stat.rfind(") ");
    return state == std::string::npos || stat[state + 2] == 'Z';
}

pid_t onlyChildOf(pid_t process) {
    pid_t child = -1;
    eventually([&] {
        const auto children = childrenOf(process);
        child = children.empty() ? -1 : children.front();
        return child > 0 || hasEnded(process);
    });
    return child;
}

} // namespace

Enclosure::Enclosure(const std::string &folder, const std::string &display) : _folder(folder) {
    std::vector<std::string> arguments{"unshare"};
    if (!isRoot()) {
        arguments.insert(arguments.end(), {"--user", "--map-current-user", "--keep-caps"});
    }
    arguments.insert(arguments.end(), {"--mount", "--pid", "--net", "--kill-child", "--mount-proc",
                                       "sh", "-c", kFirstProcess, "sh", folder, display});
    const int log = open((folder + "/enclosure.log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    _keeper = startProgram(arguments, log);
    close(log);
    const auto isReady = [&] { return access((folder + "/is-open").c_str(), F_OK) == 0; };
    eventually([&] { return isReady() || hasEnded(_keeper); });
    if (isReady()) {
        _init = onlyChildOf(_keeper);
        _namespace = namespaceOf(_init);
    }
}

Enclosure::~Enclosure() {
    // The first process ends only when all the others inside have ended.
    kill(_init > 0 ? _init : _keeper, SIGKILL);
    ProgramRun::waitFor(_keeper);
}

void Enclosure::handOver(const std::string &path) const {
    if (!isRoot()) {
        return;
    }
    std::vector<fs::path> all{path};
    if (fs::is_directory(path)) {
        for (const auto &entry : fs::recursive_directory_iterator(path)) {
            all.push_back(entry.path());
        }
    }
    for (const fs::path &one : all) {
        if (lchown(one.c_str(), userInside(), kNobody) != 0) {
            throw fs::filesystem_error("cannot be given away", one, std::error_code());
        }
    }
}

std::string Enclosure::user() const {
    const passwd *entry = getpwuid(userInside());
    return entry ? entry->pw_name : "nobody";
}

Enclosure::Result Enclosure::run(const std::vector<std::string> &arguments) const {
    const int file = memfd_create("output", MFD_CLOEXEC);
    const int status = ProgramRun::waitFor(startProgram(inside(arguments), file));
    std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    close(file);
    return {status, text};
}

pid_t Enclosure::start(const std::vector<std::string> &arguments, const std::string &log) const {
    const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const pid_t entering = startProgram(inside(arguments), file);
    close(file);
    return onlyChildOf(entering);
}

std::vector<pid_t> Enclosure::processes(const std::string &name) const {
    std::vector<pid_t> found;
    for (const auto &entry : fs::directory_iterator("/proc")) {
        const pid_t process = std::atoi(entry.path().filename().c_str());
        if (process > 0 && isCalled(process, name) && contains(process) && !hasEnded(process)) {
            found.push_back(process);
        }
    }
    return found;
}

void Enclosure::signal(pid_t process, int number) const {
    if (process > 0 && contains(process)) {
        kill(process, number);
    }
}

bool Enclosure::contains(pid_t process) const {
    return isOpen() && namespaceOf(process) == _namespace;
}

std::vector<std::string> Enclosure::inside(const std::vector<std::string> &arguments) const {
    std::vector<std::string> all{"nsenter", "--target", std::to_string(_init),
                                 "--mount", "--pid",    "--net"};
    if (isRoot()) {
        const std::string user = std::to_string(userInside());
        all.insert(all.end(), {"setpriv", "--reuid", user, "--regid", user, "--clear-groups",
                               "--inh-caps=-all"});
    } else {
        all.insert(all.end(), {"--user", "--preserve-credentials"});
    }
    all.insert(all.end(), {"env", "--ignore-environment", "--chdir=" + _folder});
    all.insert(all.end(), _environment.begin(), _environment.end());
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}
