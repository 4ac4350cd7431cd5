#include "Host/Wallpapers/WallpaperBundle.h"

#include "Animation/Common/DataTool.h"
#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleCall.h"
#include "Host/Wallpapers/BundleLibrary.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSDictionary.h"

#include <algorithm>
#include <dlfcn.h>
#include <filesystem>
#include <typeinfo>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kEntryPoint = "getDeskTopViewInstance";
constexpr std::string_view kLibraryKey = "name Library";
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

/// The checked name of the bundle's own library; empty when the description names none.
std::string libraryIn(const NSDictionary &description, const std::string &file) {
    const PropertyList *name = description.objectForKey(kLibraryKey);
    if (!name) {
        return {};
    }
    if (!name->text() || name->text()->empty()) {
        throw HostError(file, "\"name Library\" is not a text",
                        "give the library's file name as a string, or leave the key out");
    }
    BundleLibrary::checkName(*name->text(), file);
    return *name->text();
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
    try {
        const BundleFolder folder(path, BundleFolder::Trust::Anybody);
    } catch (const HostError &error) {
        listing.problem = error.what();
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
    listing.library = textUnder(*description, kLibraryKey);
    if (listing.library.empty() && description->objectForKey(kLibraryKey)) {
        listing.problem = "description.plist: \"name Library\" is not a text";
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

void checkLibraryTrust(const BundleListing &listing) {
    const BundleFolder folder(listing.path, BundleFolder::Trust::UserAndRoot);
    BundleLibrary::checkName(listing.library, listing.path + "/description.plist");
    const BundleLibrary library(folder, listing.library);
}

BundleDescription BundleDescription::read(const std::string &path) {
    const auto bundle = NSBundle::bundleWithPath(path);
    if (!bundle) {
        throw HostError(path, "cannot be opened as a bundle", "check its permissions");
    }
    const auto file = bundle->pathForResource_ofType("description", "plist");
    if (!file) {
        throw HostError(path, "has no description.plist", "a wallpaper bundle needs one");
    }
    const auto description = NSDictionary::dictionaryWithContentsOfFile(*file);
    if (!description) {
        throw HostError(*file, "is unreadable, damaged or no dictionary",
                        "write it as an XML or binary property list");
    }
    const PropertyList *name = description->objectForKey("name");
    return {name && name->text() ? *name->text() : folderNameOf(path),
            libraryIn(*description, *file),
            std::max(integerUnder(*description, "falling Speed").value_or(0), 0)};
}

WallpaperBundle::WallpaperBundle(BundleFolder folder)
    : _description(BundleDescription::read(folder.path())),
      _bundle(NSBundle::bundleWithPath(folder.path())) {
    loadLibrary(folder, _description.library);
}

/// The library stays open, so that it is the file that was checked which makes every view.
void WallpaperBundle::loadLibrary(BundleFolder &folder, const std::string &name) {
    BundleLibrary library(folder, name);
    folder.close();
    _libraryPath = library.path();
    const BundleCall call(BundleCall::Kind::Loading);
    _entryPoint = reinterpret_cast<EntryPoint>(dlsym(library.load(), kEntryPoint));
    if (!_entryPoint) {
        throw HostError(_libraryPath, std::string("has no function ") + kEntryPoint,
                        "it is no wallpaper library");
    }
}

Retained<DeskTopView> WallpaperBundle::makeView() const {
    Retained<DeskTopView> view = makeViewOf(_bundle.get());
    if (!view) {
        throw HostError(_libraryPath, "gave no view for the bundle",
                        "ask the wallpaper's maker what it needs");
    }
    return view;
}

/// What the library gives may be anything, and using that may crash.
Retained<DeskTopView> WallpaperBundle::makeViewOf(NSBundle *bundle) const {
    const NSAutoreleasePool pool;
    const BundleCall call(BundleCall::Kind::EntryPoint);
    NSObject *const made = _entryPoint(bundle);
    BundleCall::set(BundleCall::Kind::NewView);
    auto *const view = dynamic_cast<DeskTopView *>(made);
    if (made && !view) {
        throw HostError(_libraryPath,
                        "gave an object of another class than DeskTopView: " +
                            nameOfClass(typeid(*made)),
                        "derive the view from DeskTopView and build it with the same headers");
    }
    return Retained<DeskTopView>(view);
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
