#include "Host/Wallpapers/WallpaperBundle.h"

#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/LibraryTrust.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSDictionary.h"

#include <algorithm>
#include <cerrno>
#include <dlfcn.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kEntryPoint = "getDeskTopViewInstance";
constexpr const char *kPictureAdvice = "put a PNG, JPEG or WebP picture of that name there";

void checkFolder(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        throw HostError(path, errno == ENOENT ? "there is no such bundle" : systemErrorText(),
                        "see `lumivera list` for those that are installed");
    }
    if (!S_ISDIR(status.st_mode)) {
        throw HostError(path, "is a file, not a bundle",
                        "give the folder that holds description.plist");
    }
    if (access(path.c_str(), R_OK | X_OK) != 0) {
        throw HostError(path, "cannot be read: " + systemErrorText(), "check its permissions");
    }
}

std::string lastError() {
    const char *text = dlerror();
    return text ? text : "the dynamic loader gave no reason";
}

} // namespace

WallpaperBundle::WallpaperBundle(const std::string &path, Trust trust) {
    checkFolder(path);
    _bundle = NSBundle::bundleWithPath(path);
    if (!_bundle) {
        throw HostError(path, "cannot be opened as a bundle", "check its permissions");
    }
    readDescription();
    checkLibrary(trust);
    loadLibrary();
}

void WallpaperBundle::readDescription() {
    const auto file = _bundle->pathForResource_ofType("description", "plist");
    if (!file) {
        throw HostError(path(), "has no description.plist", "a wallpaper bundle needs one");
    }
    const auto description = NSDictionary::dictionaryWithContentsOfFile(*file);
    if (!description) {
        throw HostError(*file, "is unreadable, damaged or no dictionary",
                        "write it as an XML or binary property list");
    }
    const PropertyList *library = description->objectForKey("name Library");
    if (!library) {
        throw HostError(*file, "does not name a library", "add the key \"name Library\"");
    }
    if (!library->text() || library->text()->empty()) {
        throw HostError(*file, "\"name Library\" is not a text",
                        "give the library's file name as a string");
    }
    _libraryPath = _bundle->resourcePath() + "/" + *library->text();
    const PropertyList *name = description->objectForKey("name");
    _title = name && name->text() ? *name->text() : std::filesystem::path(path()).stem().string();
    const PropertyList *speed = description->objectForKey("falling Speed");
    _fallingSpeed = std::max(speed ? speed->integerValue().value_or(0) : 0, 0);
}

void WallpaperBundle::checkLibrary(Trust trust) const {
    std::error_code error;
    if (!std::filesystem::exists(_libraryPath, error)) {
        throw HostError(_libraryPath, "the library that the description names is missing",
                        "put it there or correct \"name Library\"");
    }
    if (trust == Trust::UserAndRoot) {
        checkLibraryTrust(path(), _libraryPath);
    }
}

/// Loaded once more than the view's own way does, never to be unloaded: so a library that was not
/// linked to stay survives that way's closing, and the loader's reason can be told.
void WallpaperBundle::loadLibrary() const {
    void *library = dlopen(_libraryPath.c_str(), RTLD_LAZY | RTLD_NODELETE);
    if (!library) {
        throw HostError(_libraryPath, "cannot be loaded: " + lastError(),
                        "build it for this system");
    }
    const bool hasEntryPoint = dlsym(library, kEntryPoint) != nullptr;
    dlclose(library);
    if (!hasEntryPoint) {
        throw HostError(_libraryPath, std::string("has no function ") + kEntryPoint,
                        "it is no wallpaper library");
    }
}

Retained<DeskTopView> WallpaperBundle::makeView() const {
    const NSAutoreleasePool pool;
    Retained<DeskTopView> view(DeskTopView::createDeskTopViewFromBundle(_bundle.get()));
    if (!view) {
        throw HostError(_libraryPath, "gave no view for the bundle",
                        "ask the wallpaper's maker what it needs");
    }
    return view;
}

void WallpaperBundle::checkPictures(const DeskTopView &view) const {
    const auto *petals = dynamic_cast<const LumiveraView *>(&view);
    if (!petals) {
        return;
    }
    if (!petals->bgView()->image()) {
        throw HostError(path() + "/lumivera_background_.png", "is missing or damaged",
                        kPictureAdvice);
    }
    const auto names = petals->sakuraImageNames();
    for (NSUInteger i = 0; names && i < names->count(); ++i) {
        const std::string &name = names->objectAtIndex(i);
        if (!ImageCache::sharedInstance()->imageWithName(name)) {
            throw HostError(path() + "/" + name, "is missing or damaged", kPictureAdvice);
        }
    }
}

} // namespace Lumivera
