#include "Host/Displays/X11/GnomeExtension.h"

#include "Host/Support/Patience.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <systemd/sd-bus.h>

namespace Lumivera {

namespace {

constexpr std::uint64_t kPatience = 1'000'000; // microseconds
constexpr double kEnabled = 1;

std::string valueOf(const char *variable, const std::string &otherwise) {
    const char *value = std::getenv(variable);
    return value && *value ? value : otherwise;
}

bool isInstalled() {
    std::istringstream folders(valueOf("XDG_DATA_HOME", valueOf("HOME", "") + "/.local/share") +
                               ":" + valueOf("XDG_DATA_DIRS", "/usr/local/share:/usr/share"));
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::error_code error;
        if (std::filesystem::exists(folder + "/gnome-shell/extensions/" + GnomeExtension::kName +
                                        "/metadata.json",
                                    error)) {
            return true;
        }
    }
    return false;
}

/// The entry "state" of a dictionary from texts to values; nothing without it.
std::optional<double> stateIn(sd_bus_message *reply) {
    std::optional<double> state;
    if (sd_bus_message_enter_container(reply, SD_BUS_TYPE_ARRAY, "{sv}") < 0) {
        return {};
    }
    while (sd_bus_message_enter_container(reply, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
        const char *key = nullptr;
        double value = 0;
        sd_bus_message_read(reply, "s", &key);
        if (key && std::string(key) == "state" &&
            sd_bus_message_read(reply, "v", "d", &value) > 0) {
            state = value;
        } else {
            sd_bus_message_skip(reply, "v");
        }
        sd_bus_message_exit_container(reply);
    }
    return state;
}

/// What the shell says of the extension; nothing when it does not know it.
std::optional<double> stateInShell() {
    sd_bus *bus = nullptr;
    sd_bus_message *reply = nullptr;
    std::optional<double> state;
    if (sd_bus_open_user(&bus) >= 0) {
        sd_bus_set_method_call_timeout(bus, kPatience);
        if (sd_bus_call_method(bus, "org.gnome.Shell", "/org/gnome/Shell",
                               "org.gnome.Shell.Extensions", "GetExtensionInfo", nullptr, &reply,
                               "s", GnomeExtension::kName) >= 0) {
            state = stateIn(reply);
        }
    }
    sd_bus_message_unref(reply);
    sd_bus_flush_close_unref(bus);
    return state;
}

} // namespace

GnomeExtension::State GnomeExtension::state() {
    // Signing in at the bus has no limit of its own.
    const std::optional<double> state =
        Patience::resultOf<std::optional<double>>(stateInShell).value_or(std::nullopt);
    if (!state) {
        return isInstalled() ? State::Unknown : State::Missing;
    }
    return *state == kEnabled ? State::On : State::Off;
}

std::string GnomeExtension::remedy(State state) {
    const std::string enable = "run `gnome-extensions enable " + std::string(kName) + "`";
    switch (state) {
    case State::Missing:
        return "install Lumivera for all users, log in again, and " + enable;
    case State::Unknown:
        return "log in again, and " + enable;
    case State::Off:
        return enable;
    case State::On:
        break;
    }
    return {};
}

} // namespace Lumivera
