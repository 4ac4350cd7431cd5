#include "Host/Wallpapers/WallpaperBundle.h"

#include "Animation/Common/DataTool.h"
#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Support/HostError.h"
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

namespace fs = std::filesystem;

constexpr const char *kEntryPoint = "getDeskTopViewInstance";
constexpr const char *kPictureAdvice = "put a PNG, JPEG or WebP picture of that name there";

std::string textUnder(const NSDictionary &description, std::string_view key) {
    const PropertyList *value = description.objectForKey(key);
    return value && value->text() ? *value->text() : std::string();
}

std::optional<std::int32_t> integerUnder(const NSDictionary &description, std::string_view key) {
    const PropertyList *value = description.objectForKey(key);
    return value ? value->integerValue() : std::nullopt;
}

std::string folderNameOf(const std::string &path) { return fs::path(path).stem().string(); }

void checkWriters(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        throw HostError(path, "cannot be examined: " + systemErrorText(), "check its permissions");
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        throw HostError(path, "belongs to another user, whose code is not run behind the desktop",
                        "copy the bundle, or use --trust");
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw HostError(path, "can be written by others, whose code is not run behind the desktop",
                        "take that right away with `chmod go-w`, or use --trust");
    }
}

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

BundleListing BundleListing::read(const std::string &path) {
    BundleListing listing;
    listing.path = path;
    listing.name = folderNameOf(path);
    const auto bundle = NSBundle::bundleWithPath(path);
    if (!bundle) {
        listing.problem = "is no folder";
        return listing;
    }
    const auto file = bundle->pathForResource_ofType("description", "plist");
    if (!file) {
        listing.problem = "has no description.plist";
        return listing;
    }
    const auto description = NSDictionary::dictionaryWithContentsOfFile(*file);
    if (!description) {
        listing.problem = "description.plist is unreadable, damaged or no dictionary";
        return listing;
    }
    listing.library = textUnder(*description, "name Library");
    if (listing.library.empty()) {
        listing.problem = "description.plist names no library";
    }
    const std::string name = textUnder(*description, "name");
    listing.name = name.empty() ? listing.name : name;
    listing.author = textUnder(*description, "author");
    listing.summary = textUnder(*description, "summary");
    listing.license = textUnder(*description, "license");
    listing.petals = integerUnder(*description, "sakura Count");
    listing.speed = integerUnder(*description, "falling Speed");
    return listing;
}

std::optional<std::vector<BundleListing>> BundleListing::readFolder(const std::string &folder) {
    const auto paths = DataTool::findDeskTopsBundlePathWithDirectory(folder);
    if (!paths) {
        return std::nullopt;
    }
    std::vector<BundleListing> listings;
    for (const std::string &path : *paths) {
        listings.push_back(read(path));
    }
    return listings;
}

void checkLibraryTrust(const std::string &bundlePath, const std::string &libraryPath) {
    std::error_code error;
    const fs::path library = fs::canonical(libraryPath, error);
    if (error) {
        throw HostError(libraryPath, "cannot be examined: " + error.message(),
                        "put the library there or correct \"name Library\"");
    }
    checkWriters(bundlePath);
    checkWriters(library.parent_path().string());
    checkWriters(library.string());
}

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
    _title = name && name->text() ? *name->text() : folderNameOf(path());
    _fallingSpeed = std::max(integerUnder(*description, "falling Speed").value_or(0), 0);
}

void WallpaperBundle::checkLibrary(Trust trust) const {
    std::error_code error;
    if (!fs::exists(_libraryPath, error)) {
        throw HostError(_libraryPath, "the library that the description names is missing",
                        "put it there or correct \"name Library\"");
    }
    if (trust == Trust::UserAndRoot) {
        checkLibraryTrust(path(), _libraryPath);
    }
}

/// Opens the library with RTLD_NODELETE first, so that the dlclose() of the view's factory cannot
/// unload it; also gives the text of dlerror(), which the factory hides.
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
