#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

/// A thread that helps the main thread with a picture, and sleeps between pictures.
class PaintHelper {
  public:
    PaintHelper();

    /// No work is under way.
    ~PaintHelper();

    PaintHelper(const PaintHelper &) = delete;
    PaintHelper &operator=(const PaintHelper &) = delete;

    /// Runs the work, which must not throw, on the thread; finish() comes next.
    void start(std::function<void()> work);

    /// Returns when the work is done. What it wrote can then be read.
    void finish();

  private:
    void run();

    std::mutex _mutex;
    std::condition_variable _changed;
    std::function<void()> _work;
    bool _isOver = false;
    std::thread _thread;
};
