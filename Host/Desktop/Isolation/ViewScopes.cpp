#include "Host/Desktop/Isolation/ViewScopes.h"

#include <string>
#include <systemd/sd-bus.h>

namespace Lumivera {

namespace {

/// Of 100, the share of a program by default.
constexpr std::uint64_t kProcessorWeight = 20;

void appendProperty(sd_bus_message &message, const char *name, std::uint64_t value) {
    sd_bus_message_append(&message, "(sv)", name, "t", value);
}

/// The arguments of StartTransientUnit: name, mode, properties, further units.
void appendScope(sd_bus_message &message, pid_t process, const ViewScopes::Limits &limits) {
    const std::string name = "lumivera-view-" + std::to_string(process) + ".scope";
    sd_bus_message_append(&message, "ss", name.c_str(), "fail");
    sd_bus_message_open_container(&message, 'a', "(sv)");
    sd_bus_message_append(&message, "(sv)", "Description", "s", "A wallpaper of Lumivera");
    sd_bus_message_append(&message, "(sv)", "PIDs", "au", 1, static_cast<std::uint32_t>(process));
    sd_bus_message_append(&message, "(sv)", "CollectMode", "s", "inactive-or-failed");
    appendProperty(message, "MemoryMax", limits.bytes);
    appendProperty(message, "TasksMax", limits.threads);
    appendProperty(message, "CPUWeight", kProcessorWeight);
    sd_bus_message_close_container(&message);
    sd_bus_message_append(&message, "a(sa(sv))", 0);
}

} // namespace

void ViewScopes::add(int process, const Limits &limits) {
    _bus.call(
        {"org.freedesktop.systemd1", "/org/freedesktop/systemd1",
         "org.freedesktop.systemd1.Manager", "StartTransientUnit"},
        [&](sd_bus_message &message) { appendScope(message, process, limits); },
        [](sd_bus_message &) {});
}

} // namespace Lumivera
