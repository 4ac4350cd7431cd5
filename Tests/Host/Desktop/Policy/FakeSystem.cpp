#include "Tests/Host/Desktop/Policy/FakeSystem.h"

#include "Tests/Host/Programs/ProgramRun.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kSessionPath = "/org/freedesktop/login1/session/c1";
constexpr const char *kUserPath = "/org/freedesktop/login1/user/self";
constexpr const char *kManager = "org.freedesktop.login1.Manager";
constexpr const char *kSession = "org.freedesktop.login1.Session";
constexpr const char *kUser = "org.freedesktop.login1.User";
constexpr const char *kUPower = "org.freedesktop.UPower";
constexpr const char *kManagerPath = "/org/freedesktop/login1";
constexpr const char *kUPowerPath = "/org/freedesktop/UPower";

std::string configuration(const std::string &socket) {
    return "<busconfig><type>session</type><listen>unix:path=" + socket +
           "</listen><auth>EXTERNAL</auth><policy context='default'><allow user='*'/>"
           "<allow own='*'/><allow send_type='method_call'/><allow send_type='signal'/>"
           "<allow send_requested_reply='true' send_type='method_return'/>"
           "<allow send_requested_reply='true' send_type='error'/>"
           "<allow receive_type='method_call'/><allow receive_type='method_return'/>"
           "<allow receive_type='error'/><allow receive_type='signal'/></policy></busconfig>";
}

void require(int result, const char *what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
    }
}

} // namespace

FakeSystem::FakeSystem() {
    const std::string socket = _folder.pathOf("bus");
    const std::string option = "--config-file=" + _folder.write("bus.conf", configuration(socket));
    int ends[2];
    require(pipe(ends), "pipe");
    const std::string address = "--print-address=" + std::to_string(ends[1]);
    _daemon = fork();
    if (_daemon == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        // The bus daemon warns that it may not open more files than other programs.
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
               option.c_str(), address.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    char byte;
    if (read(ends[0], &byte, 1) != 1) {
        throw std::runtime_error("dbus-daemon does not start");
    }
    close(ends[0]);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + socket).c_str(), 1);
}

FakeSystem::~FakeSystem() {
    killBus();
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

void FakeSystem::killBus() {
    if (_daemon > 0) {
        kill(_daemon, SIGKILL);
        ProgramRun::waitFor(_daemon);
        _daemon = -1;
    }
}

struct FakeServices::State {
    sd_bus *bus = nullptr;
    bool hasSessionByProcess = true;
    bool hasDisplaySession = true;
    std::string sessionName;
    int isLocked = 0;
    int isIdle = 0;
    int isActive = 1;
    int isOnBattery = 0;
};

namespace {

using State = FakeServices::State;

int replySession(sd_bus_message *call, bool has, sd_bus_error *error) {
    return has ? sd_bus_reply_method_return(call, "o", kSessionPath)
               : sd_bus_error_set(error, "org.freedesktop.login1.NoSuchSession", "none");
}

int getSessionByProcess(sd_bus_message *call, void *data, sd_bus_error *error) {
    std::uint32_t process = 0;
    const bool isOurs = sd_bus_message_read(call, "u", &process) > 0 &&
                        process == static_cast<std::uint32_t>(getpid());
    return replySession(call, isOurs && static_cast<State *>(data)->hasSessionByProcess, error);
}

int getSession(sd_bus_message *call, void *data, sd_bus_error *error) {
    const char *name = "";
    sd_bus_message_read(call, "s", &name);
    return replySession(call, static_cast<State *>(data)->sessionName == name, error);
}

int getUser(sd_bus_message *call, void *, sd_bus_error *error) {
    std::uint32_t user = 0;
    const bool isOurs = sd_bus_message_read(call, "u", &user) > 0 && user == getuid();
    return isOurs ? sd_bus_reply_method_return(call, "o", kUserPath)
                  : sd_bus_error_set(error, "org.freedesktop.login1.NoSuchUser", "none");
}

int getDisplay(sd_bus *, const char *, const char *, const char *, sd_bus_message *reply,
               void *data, sd_bus_error *) {
    const bool has = static_cast<State *>(data)->hasDisplaySession;
    return sd_bus_message_append(reply, "(so)", has ? "c1" : "", has ? kSessionPath : "/");
}

const sd_bus_vtable kManagerTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetSessionByPID", "u", "o", getSessionByProcess, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetSession", "s", "o", getSession, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetUser", "u", "o", getUser, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("PrepareForSleep", "b", 0),
    SD_BUS_VTABLE_END};

/// Adds properties of other types, which the real service has as well.
const sd_bus_vtable kSessionTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Display", "(so)", getDisplay, 0, 0),
    SD_BUS_PROPERTY("Active", "b", nullptr, offsetof(State, isActive),
                    SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_PROPERTY("IdleHint", "b", nullptr, offsetof(State, isIdle),
                    SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_PROPERTY("LockedHint", "b", nullptr, offsetof(State, isLocked),
                    SD_BUS_VTABLE_PROPERTY_EMITS_INVALIDATION),
    SD_BUS_VTABLE_END};

const sd_bus_vtable kUserTable[] = {SD_BUS_VTABLE_START(0),
                                    SD_BUS_PROPERTY("Display", "(so)", getDisplay, 0, 0),
                                    SD_BUS_VTABLE_END};

const sd_bus_vtable kUPowerTable[] = {SD_BUS_VTABLE_START(0),
                                      SD_BUS_PROPERTY("OnBattery", "b", nullptr,
                                                      offsetof(State, isOnBattery),
                                                      SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
                                      SD_BUS_VTABLE_END};

} // namespace

FakeServices::FakeServices(Names names) : _state(std::make_unique<State>()) {
    State *state = _state.get();
    sd_bus *&bus = _state->bus;
    require(sd_bus_open_system(&bus), "open");
    const auto add = [&](const char *path, const char *interface, const sd_bus_vtable *table) {
        require(sd_bus_add_object_vtable(bus, nullptr, path, interface, table, state), path);
    };
    add(kManagerPath, kManager, kManagerTable);
    add(kSessionPath, kSession, kSessionTable);
    add(kUserPath, kUser, kUserTable);
    add(kUPowerPath, kUPower, kUPowerTable);
    if (names.hasLogind) {
        require(sd_bus_request_name(bus, "org.freedesktop.login1", 0), "login1");
    }
    if (names.hasUPower) {
        require(sd_bus_request_name(bus, kUPower, 0), "UPower");
    }
}

FakeServices::~FakeServices() { sd_bus_close_unref(_state->bus); }

void FakeServices::serve() {
    while (sd_bus_process(_state->bus, nullptr) > 0) {
    }
}

void FakeServices::setSessionByProcess(bool has) { _state->hasSessionByProcess = has; }
void FakeServices::setSessionByName(const std::string &name) { _state->sessionName = name; }
void FakeServices::setDisplaySession(bool has) { _state->hasDisplaySession = has; }

void FakeServices::setLocked(bool isLocked) {
    _state->isLocked = isLocked;
    changed(kSessionPath, kSession, "LockedHint");
}

void FakeServices::setIdle(bool isIdle) {
    _state->isIdle = isIdle;
    changed(kSessionPath, kSession, "IdleHint");
}

void FakeServices::setActive(bool isActive) {
    _state->isActive = isActive;
    changed(kSessionPath, kSession, "Active");
}

void FakeServices::setOnBattery(bool isOnBattery) {
    _state->isOnBattery = isOnBattery;
    changed(kUPowerPath, kUPower, "OnBattery");
}

void FakeServices::prepareForSleep(bool begins) {
    sd_bus_emit_signal(_state->bus, kManagerPath, kManager, "PrepareForSleep", "b",
                       static_cast<int>(begins));
}

void FakeServices::changed(const char *path, const char *interface, const char *property) {
    sd_bus_emit_properties_changed(_state->bus, path, interface, property, nullptr);
}

} // namespace Lumivera
