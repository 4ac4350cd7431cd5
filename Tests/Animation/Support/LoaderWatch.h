#pragma once

#include <functional>
#include <string>
#include <vector>

/// Intercepts the dynamic loader's functions while it lives, and records which libraries are
/// opened, with which flags, and how many are closed. One object at a time, on one thread.
class LoaderWatch {
  public:
    LoaderWatch();
    ~LoaderWatch();
    LoaderWatch(const LoaderWatch &) = delete;
    LoaderWatch &operator=(const LoaderWatch &) = delete;

    struct Opening {
        std::string path;
        int mode;
        void *library;
    };

    std::vector<Opening> openings;
    std::vector<void *> closings;

    /// Called before a library is closed.
    std::function<void()> beforeClosing;
};
