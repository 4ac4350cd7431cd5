#include "Tests/Host/Displays/Wayland/ServerThread.h"

#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>
#include <wayland-server.h>

ServerThread::ServerThread(wl_display *display)
    : _display(display), _wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    _source = wl_event_loop_add_fd(wl_display_get_event_loop(_display), _wake, WL_EVENT_READABLE,
                                   serve, this);
    _thread = std::thread([this] { run(); });
}

ServerThread::~ServerThread() {
    perform([this] { _isEnding = true; });
    _thread.join();
    wl_event_source_remove(_source);
    close(_wake);
}

void ServerThread::perform(const std::function<void()> &action) {
    if (std::this_thread::get_id() == _thread.get_id()) {
        action();
        return;
    }
    std::unique_lock lock(_mutex);
    _action = &action;
    eventfd_write(_wake, 1);
    _changed.wait(lock, [this] { return !_action; });
}

int ServerThread::serve(int descriptor, std::uint32_t, void *data) {
    auto &self = *static_cast<ServerThread *>(data);
    eventfd_t count = 0;
    eventfd_read(descriptor, &count);
    const std::lock_guard lock(self._mutex);
    if (self._action) {
        (*self._action)();
        self._action = nullptr;
        wl_display_flush_clients(self._display);
        self._changed.notify_all();
    }
    return 0;
}

void ServerThread::run() {
    while (!_isEnding) {
        wl_display_flush_clients(_display);
        wl_event_loop_dispatch(wl_display_get_event_loop(_display), -1);
    }
}
