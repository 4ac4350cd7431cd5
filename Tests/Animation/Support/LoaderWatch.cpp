#include "Tests/Animation/Support/LoaderWatch.h"

#include <dlfcn.h>

namespace {

LoaderWatch *watch = nullptr;

} // namespace

LoaderWatch::LoaderWatch() { watch = this; }

LoaderWatch::~LoaderWatch() { watch = nullptr; }

// Definitions in the program take precedence over the C library's, also in the libraries it loads.

extern "C" __attribute__((visibility("default"))) void *dlopen(const char *path,
                                                               int mode) noexcept {
    static const auto real =
        reinterpret_cast<void *(*)(const char *, int)>(dlsym(RTLD_NEXT, "dlopen"));
    void *const library = real(path, mode);
    if (watch) {
        watch->openings.push_back({path ? path : "", mode, library});
    }
    return library;
}

extern "C" __attribute__((visibility("default"))) int dlclose(void *library) noexcept {
    static const auto real = reinterpret_cast<int (*)(void *)>(dlsym(RTLD_NEXT, "dlclose"));
    if (watch) {
        watch->closings.push_back(library);
        if (watch->beforeClosing) {
            watch->beforeClosing();
        }
    }
    return real(library);
}
