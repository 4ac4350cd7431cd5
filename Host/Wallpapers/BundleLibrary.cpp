#include "Host/Wallpapers/BundleLibrary.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/LibraryNeeds.h"
#include "Lumivera/Interface.h"
#include "LumiveraLiveWallpaper/LumiveraLiveWallpaper.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <dlfcn.h>
#include <filesystem>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kOwnDescriptors = "/proc/self/fd";
constexpr int kOwnLibrary = -1;

std::string lastError() {
    const char *text = dlerror();
    return text ? text : "the dynamic loader gave no reason";
}

std::string descriptorPath(int descriptor) {
    return std::string(kOwnDescriptors) + "/" + std::to_string(descriptor);
}

/// The file of the library that comes with this program.
std::string ownLibraryPath() {
    Dl_info info{};
    dladdr(reinterpret_cast<const void *>(&getDeskTopViewInstance), &info);
    return info.dli_fname ? info.dli_fname : "";
}

bool isLoaded(const std::string &name) {
    void *library = dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (library) {
        dlclose(library);
    }
    return library != nullptr;
}

/// The system's own folders, and that of the libraries that come with this program.
bool isSystemFolder(const std::string &folder) {
    const fs::path path = fs::path(folder).lexically_normal();
    const std::array<fs::path, 5> roots = {
        "/usr", "/lib", "/lib64", "/lib32",
        fs::path(ownLibraryPath()).parent_path().lexically_normal()};
    return std::any_of(roots.begin(), roots.end(), [&path](const fs::path &root) {
        return !root.empty() &&
               std::mismatch(root.begin(), root.end(), path.begin(), path.end()).first ==
                   root.end();
    });
}

/// The part after $ORIGIN, the folder of the library itself; nothing for other folders.
std::optional<std::string> afterOrigin(const std::string &folder) {
    for (const std::string_view origin : {"$ORIGIN", "${ORIGIN}"}) {
        if (folder.starts_with(origin)) {
            return folder.substr(origin.size());
        }
    }
    return std::nullopt;
}

LibraryNeeds needsOf(int file) {
    return LibraryNeeds::read([file](std::uint64_t offset, void *bytes, std::size_t count) {
        return pread(file, bytes, count, static_cast<off_t>(offset)) == static_cast<ssize_t>(count);
    });
}

/// A library that does not tell is accepted: it may be older, or made without the kit.
void checkInterface(const LibraryNeeds &needs, const std::string &path) {
    const std::uint32_t number = needs.kitInterface.value_or(LUMIVERA_INTERFACE);
    if (number != LUMIVERA_INTERFACE) {
        throw HostError(path,
                        "is made for interface " + std::to_string(number) +
                            " of the wallpaper kit, and this program has interface " +
                            std::to_string(LUMIVERA_INTERFACE),
                        number > LUMIVERA_INTERFACE
                            ? "install a newer lumivera, or build it with this one's kit"
                            : "build it again with this program's kit, or get a newer one");
    }
}

bool isBundleItself(const std::string &folder) {
    const auto rest = afterOrigin(folder);
    return rest && (rest->empty() || *rest == "/" || *rest == "/.");
}

} // namespace

BundleLibrary::BundleLibrary(const BundleFolder &folder, const std::string &name)
    : _folder(folder), _bundlePath(folder.path()), _path(pathOf(name)),
      _isByDescriptor(folder.trust() == BundleFolder::Trust::UserAndRoot &&
                      access(kOwnDescriptors, X_OK) == 0) {
    try {
        open(name);
    } catch (const HostError &) {
        for (const File &file : _files) {
            close(file.descriptor);
        }
        throw;
    }
}

BundleLibrary::~BundleLibrary() {
    for (const File &file : _files) {
        close(file.descriptor);
    }
}

void BundleLibrary::checkName(const std::string &name, const std::string &descriptionPath) {
    if (name.find_first_of("/$") != std::string::npos || name == "." || name == "..") {
        throw HostError(descriptionPath, "\"name Library\" is \"" + name + "\", no plain file name",
                        "put the library into the bundle itself and give its name");
    }
}

/// Opens what the library needs before the library itself, because it is loaded before.
void BundleLibrary::open(const std::string &name) {
    _names.push_back(name);
    if (name.empty() || _folder.standsForOwnLibrary(name)) {
        _files.push_back({kOwnLibrary, name});
        return;
    }
    const File file{_folder.openLibrary(name), name};
    try {
        const LibraryNeeds needs = needsOf(file.descriptor);
        checkInterface(needs, _bundlePath + "/" + name);
        if (_folder.trust() == BundleFolder::Trust::UserAndRoot) {
            openNeeds(needs, _bundlePath + "/" + name);
        }
    } catch (const HostError &) {
        close(file.descriptor);
        throw;
    }
    _files.push_back(file);
}

void BundleLibrary::openNeeds(const LibraryNeeds &needs, const std::string &path) {
    const bool looksIntoBundle =
        std::any_of(needs.folders.begin(), needs.folders.end(), isBundleItself);
    bool isAnySought = false;
    for (const std::string &name : needs.libraries) {
        if (isOpen(name) || isLoaded(name)) {
            continue;
        }
        if (name.find('/') != std::string::npos) {
            throw HostError(path, "needs the library " + name + " by its path",
                            "link it by its name, or use --trust");
        }
        if (looksIntoBundle && (_folder.hasFile(name) || _folder.standsForOwnLibrary(name))) {
            open(name);
        } else {
            isAnySought = true;
        }
    }
    if (isAnySought) {
        checkSearch(needs.folders, path);
    }
}

/// The folders above the bundle, such as $ORIGIN/.., are not searched for a library that is loaded
/// by its descriptor.
void BundleLibrary::checkSearch(const std::vector<std::string> &folders,
                                const std::string &path) const {
    for (const std::string &folder : folders) {
        const bool isHarmless = isBundleItself(folder) || isSystemFolder(folder) ||
                                (_isByDescriptor && afterOrigin(folder));
        if (!isHarmless) {
            throw HostError(path,
                            "looks for libraries in " +
                                (folder.empty() ? "the current folder" : folder) +
                                ", which is neither the bundle nor a folder of the system",
                            "link it without that folder, or use --trust");
        }
    }
}

bool BundleLibrary::isOpen(const std::string &name) const {
    return std::find(_names.begin(), _names.end(), name) != _names.end();
}

std::string BundleLibrary::pathOf(const std::string &name) const {
    return name.empty() ? ownLibraryPath() : _bundlePath + "/" + name;
}

void *BundleLibrary::load(Binding binding) {
    void *library = nullptr;
    for (File &file : _files) {
        library = load(file, binding);
    }
    return library;
}

/// A descriptor by whose path a library was loaded stays open: the loader remembers the path as a
/// name of the library, so no other file may get it.
void *BundleLibrary::load(File &file, Binding binding) const {
    const std::string path = pathOf(file.name);
    const std::string shown = file.descriptor == kOwnLibrary ? ownLibraryPath()
                              : _isByDescriptor              ? descriptorPath(file.descriptor)
                                                             : path;
    void *library =
        dlopen(shown.c_str(), (binding == Binding::Now ? RTLD_NOW : RTLD_LAZY) | RTLD_NODELETE);
    if (!library) {
        std::string problem = lastError();
        if (const std::size_t at = problem.find(shown); at != std::string::npos) {
            problem.replace(at, shown.size(), path);
        }
        throw HostError(path, "cannot be loaded: " + problem, "build it for this system");
    }
    if (_isByDescriptor) {
        file.descriptor = kOwnLibrary;
    }
    return library;
}

} // namespace Lumivera
