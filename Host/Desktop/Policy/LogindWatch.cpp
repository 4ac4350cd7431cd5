#include "Host/Desktop/Policy/LogindWatch.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kService = "org.freedesktop.login1";
constexpr const char *kManagerPath = "/org/freedesktop/login1";
constexpr const char *kManager = "org.freedesktop.login1.Manager";
constexpr const char *kSession = "org.freedesktop.login1.Session";
constexpr const char *kUser = "org.freedesktop.login1.User";
constexpr const char *kProperties = "org.freedesktop.DBus.Properties";

bool isError(sd_bus_message &message) {
    return sd_bus_message_is_method_error(&message, nullptr) != 0;
}

/// Reads the session's path from a variant of type (so); empty when there is none.
std::string displayPath(sd_bus_message &message) {
    const char *identifier = nullptr;
    const char *path = nullptr;
    const bool isRead = !isError(message) &&
                        sd_bus_message_enter_container(&message, 'v', "(so)") > 0 &&
                        sd_bus_message_read(&message, "(so)", &identifier, &path) > 0;
    return isRead && identifier && *identifier ? path : "";
}

} // namespace

LogindWatch::LogindWatch(SystemBus &bus, std::function<void()> changed)
    : _bus(bus), _changed(std::move(changed)) {
    listen();
    findSession();
}

void LogindWatch::forget() {
    _session.clear();
    _flags = {};
    _isAsleep = false;
}

void LogindWatch::listen() {
    _bus.listenToOwner(kService, [this](bool isThere) {
        forget();
        if (isThere) {
            findSession();
        }
        _changed();
    });
    _bus.listen({kService, kManagerPath, kManager, "PrepareForSleep"}, "",
                [this](sd_bus_message &message) {
                    int begins = 0;
                    if (sd_bus_message_read(&message, "b", &begins) > 0) {
                        _isAsleep = begins != 0;
                        _changed();
                    }
                });
}

void LogindWatch::findSession() {
    ask(
        "GetSessionByPID",
        [](sd_bus_message &message) {
            sd_bus_message_append(&message, "u", static_cast<std::uint32_t>(getpid()));
        },
        [this](const std::string &path) { follow(path); }, [this] { findNamedSession(); });
}

/// Tries the environment, because programs of the user's service manager run in no session.
void LogindWatch::findNamedSession() {
    const char *name = std::getenv("XDG_SESSION_ID");
    if (!name || !*name) {
        findDisplaySession();
        return;
    }
    ask(
        "GetSession",
        [name](sd_bus_message &message) { sd_bus_message_append(&message, "s", name); },
        [this](const std::string &path) { follow(path); }, [this] { findDisplaySession(); });
}

void LogindWatch::findDisplaySession() {
    ask(
        "GetUser",
        [](sd_bus_message &message) {
            sd_bus_message_append(&message, "u", static_cast<std::uint32_t>(getuid()));
        },
        [this](const std::string &path) { readDisplay(path); }, [] {});
}

void LogindWatch::readDisplay(const std::string &user) {
    _bus.getProperty({kService, user, kUser, "Display"}, [this](sd_bus_message &message) {
        const std::string path = displayPath(message);
        if (!path.empty()) {
            follow(path);
        }
    });
}

/// Calls a method of the manager that returns the path of an object.
void LogindWatch::ask(const char *method, const SystemBus::Handler &addArguments,
                      std::function<void(const std::string &path)> found, const Next &notFound) {
    _bus.call({kService, kManagerPath, kManager, method}, addArguments,
              [found = std::move(found), notFound](sd_bus_message &message) {
                  const char *path = nullptr;
                  if (!isError(message) && sd_bus_message_read(&message, "o", &path) > 0) {
                      found(path);
                  } else {
                      notFound();
                  }
              });
}

/// Listens before it reads, so that no change is missed.
void LogindWatch::follow(const std::string &session) {
    _session = session;
    if (_followed.insert(session).second) {
        _bus.listenToProperties({kService, session, kSession, ""},
                                [this, session](sd_bus_message &) {
                                    if (session == _session) {
                                        readFlags();
                                    }
                                });
    }
    readFlags();
}

/// Reads all flags, because a signal of changes may come without the values.
void LogindWatch::readFlags() {
    _bus.call(
        {kService, _session, kProperties, "GetAll"},
        [](sd_bus_message &message) { sd_bus_message_append(&message, "s", kSession); },
        [this](sd_bus_message &message) {
            if (!isError(message) && isThere()) {
                _flags = flagsFrom(message, _flags);
                _changed();
            }
        });
}

LogindWatch::Flags LogindWatch::flagsFrom(sd_bus_message &message, Flags flags) {
    int isActive = flags.isInactive ? 0 : 1;
    int isLocked = flags.isLocked ? 1 : 0;
    int isIdle = flags.isIdle ? 1 : 0;
    sd_bus_message_enter_container(&message, 'a', "{sv}");
    while (sd_bus_message_enter_container(&message, 'e', "sv") > 0) {
        const char *name = "";
        sd_bus_message_read(&message, "s", &name);
        const std::string_view property = name;
        int *value = property == "Active"       ? &isActive
                     : property == "LockedHint" ? &isLocked
                     : property == "IdleHint"   ? &isIdle
                                                : nullptr;
        if (!value || sd_bus_message_read(&message, "v", "b", value) <= 0) {
            sd_bus_message_skip(&message, "v");
        }
        sd_bus_message_exit_container(&message);
    }
    return {isLocked != 0, isIdle != 0, isActive == 0};
}

} // namespace Lumivera
