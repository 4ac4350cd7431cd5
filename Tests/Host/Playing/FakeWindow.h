#pragma once

#include "Host/Displays/Window.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <vector>

/// A fake window that waits on the current clock. Tests change it within call-outs of the main run
/// loop, as a window system would.
class FakeWindow final : public Lumivera::Window {
  public:
    FakeWindow(CGSize size, CGFloat density) : _size(size), _density(density) {}

    void setListener(Listener *listener) override { _listener = listener; }
    CGSize size() const override { return _size; }
    CGFloat density() const override { return _density; }
    bool isVisible() const override { return _isVisible; }

    /// Copies the damaged parts; the rest stays as it was shown before, as on a real screen.
    void present(const Drawing &draw) override {
        const auto width = static_cast<std::size_t>(std::lround(_size.width * _density));
        const auto height = static_cast<std::size_t>(std::lround(_size.height * _density));
        const bool isKept = width == _width && _memory.size() == width * height;
        if (!isKept) {
            _width = width;
            _memory.assign(width * height, 0);
            _pixels = _memory;
        }
        for (const DeviceRect &rect : draw({_memory.data(), width, height, width, isKept})) {
            for (int y = rect.top; y < rect.bottom; ++y) {
                const auto row = static_cast<std::ptrdiff_t>(width) * y;
                std::copy(_memory.begin() + row + rect.left, _memory.begin() + row + rect.right,
                          _pixels.begin() + row + rect.left);
            }
        }
        ++_presents;
        _emptyPresents += isEmpty(width, height) ? 1 : 0;
    }

    void setTitle(const std::string &) override {}
    void toggleFullScreen() override { ++_fullScreenToggles; }

    void wait(Clock::Nanoseconds nanoseconds) override {
        std::unique_lock lock(_mutex);
        const Clock::Nanoseconds now = Clock::current().now();
        const Clock::Nanoseconds end =
            nanoseconds == Clock::kNever ? Clock::kNever : now + nanoseconds;
        while (!_isWoken && Clock::current().now() < end) {
            _changed.wait(lock, end);
        }
        _isWoken = false;
    }

    void wake() override {
        const std::lock_guard lock(_mutex);
        _isWoken = true;
        _changed.notifyAll();
    }

    void resize(CGSize size) {
        _size = size;
        _listener->windowResized();
    }

    void setVisible(bool visible) {
        _isVisible = visible;
        _listener->windowVisibilityChanged();
    }

    Listener &listener() { return *_listener; }
    const std::vector<std::uint32_t> &pixels() const { return _pixels; }
    int presents() const { return _presents; }
    int fullScreenToggles() const { return _fullScreenToggles; }

    /// How many pictures since forgetPresents() have a black corner, where no background was drawn.
    int emptyPresents() const { return _emptyPresents; }
    void forgetPresents() { _presents = _emptyPresents = 0; }

  private:
    bool isEmpty(std::size_t width, std::size_t height) const {
        const std::size_t last = width * height - 1;
        for (const std::size_t corner : {std::size_t{0}, width - 1, last + 1 - width, last}) {
            if ((_pixels[corner] & 0xFFFFFF) == 0) {
                return true;
            }
        }
        return false;
    }

    CGSize _size;
    CGFloat _density;
    bool _isVisible = true;
    Listener *_listener = nullptr;
    std::size_t _width = 0;
    std::vector<std::uint32_t> _memory;
    std::vector<std::uint32_t> _pixels;
    int _presents = 0;
    int _emptyPresents = 0;
    int _fullScreenToggles = 0;

    std::mutex _mutex;
    ClockCondition _changed;
    bool _isWoken = false;
};
