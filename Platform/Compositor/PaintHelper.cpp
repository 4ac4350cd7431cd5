#include "Platform/Compositor/PaintHelper.h"

#include <utility>

PaintHelper::PaintHelper() : _thread([this] { run(); }) {}

PaintHelper::~PaintHelper() {
    {
        const std::lock_guard lock(_mutex);
        _isOver = true;
    }
    _changed.notify_all();
    _thread.join();
}

void PaintHelper::start(std::function<void()> work) {
    {
        const std::lock_guard lock(_mutex);
        _work = std::move(work);
    }
    _changed.notify_all();
}

void PaintHelper::finish() {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [this] { return !_work; });
}

void PaintHelper::run() {
    std::unique_lock lock(_mutex);
    while (true) {
        _changed.wait(lock, [this] { return _work || _isOver; });
        if (_isOver) {
            return;
        }
        lock.unlock();
        _work();
        lock.lock();
        _work = nullptr;
        _changed.notify_all();
    }
}
