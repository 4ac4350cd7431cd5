#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

struct wl_display;
struct wl_event_source;

/// Runs the server's side of a Wayland connection on a thread of its own.
class ServerThread {
  public:
    /// The display lives until the thread has gone, and is touched only by it.
    explicit ServerThread(wl_display *display);

    /// Returns when the thread has gone.
    ~ServerThread();

    ServerThread(const ServerThread &) = delete;
    ServerThread &operator=(const ServerThread &) = delete;

    /// Runs an action there and waits for it; on that thread itself just runs it.
    void perform(const std::function<void()> &action);

  private:
    static int serve(int descriptor, std::uint32_t mask, void *data);
    void run();

    wl_display *const _display;
    int _wake = -1;
    wl_event_source *_source = nullptr;
    std::mutex _mutex;
    std::condition_variable _changed;
    const std::function<void()> *_action = nullptr;
    bool _isEnding = false;
    std::thread _thread;
};
