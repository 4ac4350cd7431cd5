#include "Animation/Common/DataTool.h"

#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/NSLog.h"

std::optional<std::vector<std::string>>
DataTool::findDeskTopsBundlePathWithDirectory(const std::string &directory) {
    std::string error;
    const auto names = NSFileManager::contentsOfDirectoryAtPath_error(directory, &error);
    if (!names) {
        NSLog("error: " + error);
        return std::nullopt;
    }
    std::vector<std::string> paths;
    paths.reserve(names->size());
    for (const std::string &name : *names) {
        if (name.ends_with("bundle")) {
            paths.push_back(directory + "/" + name);
        }
    }
    return paths;
}

std::optional<PropertyList>
DataTool::readDeskTopDescriptionWithKey_fromBundleFile(const std::string &key,
                                                       const std::string &bundlePath) {
    const auto bundle = NSBundle::bundleWithPath(bundlePath);
    const auto file =
        bundle ? bundle->pathForResource_ofType("description", "plist") : std::nullopt;
    const auto description = file ? NSDictionary::dictionaryWithContentsOfFile(*file) : nullptr;
    const PropertyList *value = description ? description->objectForKey(key) : nullptr;
    return value ? std::optional(*value) : std::nullopt;
}

Retained<UIImage> DataTool::readDeskTopThumbnailImageFromBundleFile(const std::string &bundlePath) {
    const auto bundle = NSBundle::bundleWithPath(bundlePath);
    const auto file = bundle ? bundle->pathForResource_ofType("thumbnail", "png") : std::nullopt;
    return file ? UIImage::imageWithContentsOfFile(*file) : nullptr;
}
