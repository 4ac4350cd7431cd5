#include "Host/Desktop/Isolation/ViewScopes.h"

#include "Tests/Host/Desktop/Policy/FakeSystem.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Programs/VirtualScreen.h"
#include "Tests/Host/Support/RealTimeLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

using namespace Lumivera;

namespace {

/// What systemd was asked for.
struct Scope {
    std::string name;
    std::uint32_t process = 0;
    std::map<std::string, std::uint64_t> numbers;
};

int readScope(sd_bus_message *call, void *data, sd_bus_error *) {
    Scope scope;
    const char *text = "";
    const char *mode = "";
    sd_bus_message_read(call, "ss", &text, &mode);
    scope.name = text;
    sd_bus_message_enter_container(call, 'a', "(sv)");
    while (sd_bus_message_enter_container(call, 'r', "sv") > 0) {
        const char *contents = "";
        const char *value = "";
        sd_bus_message_read(call, "s", &text);
        const std::string name = text;
        sd_bus_message_peek_type(call, nullptr, &contents);
        if (const std::string_view type = contents; type == "t") {
            sd_bus_message_read(call, "v", "t", &scope.numbers[name]);
        } else if (type == "au") {
            sd_bus_message_read(call, "v", "au", 1, &scope.process);
        } else {
            sd_bus_message_read(call, "v", "s", &value);
        }
        sd_bus_message_exit_container(call);
    }
    sd_bus_message_exit_container(call);
    *static_cast<std::optional<Scope> *>(data) = scope;
    return sd_bus_reply_method_return(call, "o", "/job");
}

const sd_bus_vtable kManager[] = {SD_BUS_VTABLE_START(0),
                                  SD_BUS_METHOD("StartTransientUnit", "ssa(sv)a(sa(sv))", "o",
                                                readScope, SD_BUS_VTABLE_UNPRIVILEGED),
                                  SD_BUS_VTABLE_END};

/// The user's systemd, on a bus of the test's own.
class FakeSystemd {
  public:
    FakeSystemd() {
        sd_bus_open_user(&_bus);
        sd_bus_add_object_vtable(_bus, nullptr, "/org/freedesktop/systemd1",
                                 "org.freedesktop.systemd1.Manager", kManager, &_asked);
        sd_bus_request_name(_bus, "org.freedesktop.systemd1", 0);
    }
    ~FakeSystemd() { sd_bus_flush_close_unref(_bus); }
    FakeSystemd(const FakeSystemd &) = delete;
    FakeSystemd &operator=(const FakeSystemd &) = delete;

    const std::optional<Scope> &serve() {
        while (sd_bus_process(_bus, nullptr) > 0) {
        }
        return _asked;
    }

  private:
    sd_bus *_bus = nullptr;
    std::optional<Scope> _asked;
};

TEST(ViewScopesTest, AskForAGroupWithLimits) {
    if (!isInstalled("dbus-daemon")) {
        GTEST_SKIP() << "needs dbus-daemon";
    }
    const FakeSystem system;
    const EnvironmentVariable bus("DBUS_SESSION_BUS_ADDRESS",
                                  std::getenv("DBUS_SYSTEM_BUS_ADDRESS"));
    FakeSystemd systemd;
    DescriptorWaiter waiter;
    ViewScopes scopes(waiter);
    scopes.add(4711, {1'000'000'000, 256});
    ASSERT_TRUE(serveUntil([&] { return systemd.serve().has_value(); }));
    const Scope scope = *systemd.serve();
    EXPECT_EQ(scope.name, "lumivera-view-4711.scope");
    EXPECT_EQ(scope.process, 4711U);
    EXPECT_EQ(scope.numbers,
              (std::map<std::string, std::uint64_t>{
                  {"MemoryMax", 1'000'000'000}, {"TasksMax", 256}, {"CPUWeight", 20}}));
}

TEST(ViewScopesTest, DoWithoutABus) {
    const EnvironmentVariable bus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    DescriptorWaiter waiter;
    ViewScopes scopes(waiter);
    scopes.add(4711, {1, 1});
    NSRunLoop::mainRunLoop().runForSeconds(0);
}

} // namespace
