#pragma once

#include <functional>
#include <string>
#include <vector>

/// Stands between a test program and the dynamic loader while it lives, and notes which libraries
/// are opened, how, and how many are closed again. One at a time, on one thread.
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
