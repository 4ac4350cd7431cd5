#include "Host/Wallpapers/BundleListing.h"

#include "Animation/Common/DataTool.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSDictionary.h"

#include <filesystem>

namespace Lumivera {

namespace {

std::string textUnder(const NSDictionary &description, std::string_view key) {
    const PropertyList *value = description.objectForKey(key);
    return value && value->text() ? *value->text() : std::string();
}

std::optional<std::int32_t> integerUnder(const NSDictionary &description, std::string_view key) {
    const PropertyList *value = description.objectForKey(key);
    return value ? value->integerValue() : std::nullopt;
}

std::string folderNameOf(const std::string &path) {
    return std::filesystem::path(path).stem().string();
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

} // namespace Lumivera
