#pragma once

#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/NSThread.h"

#include <functional>
#include <string_view>
#include <vector>

/// A record of what a view has done, which outlives the view.
struct Recording {
    int loadings = 0;
    bool loadedOnMainThread = false;
    Clock::Nanoseconds loadedAt = 0;
    std::vector<Clock::Nanoseconds> frames;
    bool framesWereOnMainThread = true;
    int destructions = 0;
    bool diedOnMainThread = false;
};

/// A wallpaper that records which of its members are called.
class RecordingView final : public DeskTopView {
  public:
    RecordingView(const CGRect &frame, Recording &recording)
        : DeskTopView(frame), _recording(recording) {}

    ~RecordingView() override {
        ++_recording.destructions;
        _recording.diedOnMainThread = NSThread::isMainThread();
    }

    void initResource() override {
        ++_recording.loadings;
        _recording.loadedOnMainThread = NSThread::isMainThread();
        _recording.loadedAt = Clock::current().now();
    }

    /// Always true, even when the clock does not run.
    bool isAnimating() const override { return boasts || DeskTopView::isAnimating(); }

    bool respondsToSelector(std::string_view selector) const override {
        if (onAsked) {
            onAsked();
        }
        return answers && DeskTopView::respondsToSelector(selector);
    }

    void doAnimating() override {
        _recording.frames.push_back(Clock::current().now());
        _recording.framesWereOnMainThread &= NSThread::isMainThread();
        if (onFrame) {
            onFrame();
        }
    }

    bool boasts = false;
    bool answers = true;
    std::function<void()> onFrame;

    /// On the thread of the clock's operation, when it asks for the loop.
    std::function<void()> onAsked;

  private:
    Recording &_recording;
};
