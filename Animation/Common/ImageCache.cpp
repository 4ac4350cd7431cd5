#include "Animation/Common/ImageCache.h"

#include "Animation/Common/NSData+DataEncrypt.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/UIKit/UIScreen.h"

#include <atomic>

namespace {

constexpr NSUInteger kInitialCapacity = 20;

std::atomic<ImageCache *> imageCacheInstance{nullptr};

} // namespace

ImageCache *ImageCache::sharedInstance() {
    static ImageCache *const instance = imageCacheInstance = init().leak();
    return instance;
}

void ImageCache::releaseInstance() {
    if (ImageCache *const instance = imageCacheInstance) {
        instance->clearMemorryCache();
    }
}

Retained<ImageCache> ImageCache::init() { return makeRetained<ImageCache>(); }

ImageCache::ImageCache() : _imageDic(makeRetained<NSMutableDictionary<UIImage>>(kInitialCapacity)) {
    setResBundle(nullptr);
}

ImageCache::~ImageCache() {
    NSLog("=======ImageCache dealloc");
    clearMemorryCache();
    setResBundle(nullptr);
}

void ImageCache::setResBundle(Retained<NSBundle> bundle) {
    _resBundle.set(std::move(bundle));
    clearMemorryCache();
}

void ImageCache::setResourceData(const std::string &packFileName) {
    const std::string path = pathOfName(packFileName);
    clearMemorryCache();
    for (const auto &[key, value] : DataEncrypt::readDatasFromFilePath(path)) {
        keep(UIImage::imageWithData(DataEncrypt::dataWithEncryptionData(value)), key);
    }
}

Retained<UIImage> ImageCache::imageWithName(const std::string &name) {
    if (Retained<UIImage> cached = _imageDic->objectForKey(name)) {
        return cached;
    }
    return keep(UIImage::imageWithContentsOfFile(pathOfName(name)), name);
}

Retained<UIImage> ImageCache::imageWithName2x(const std::string &name) {
    if (Retained<UIImage> cached = _imageDic->objectForKey(name)) {
        return cached;
    }
    Retained<UIImage> image = UIImage::imageWithContentsOfFile(pathOfName(name));
    if (const auto screen = UIScreen::mainScreen(); image && screen) {
        image = UIImage::imageWithCGImage_scale_orientation(image->bitmap(), screen->scale(),
                                                            image->imageOrientation());
    }
    return keep(std::move(image), name);
}

void ImageCache::clearMemorryCache() { _imageDic->removeAllObjects(); }

/// The path of a file in the bundle's resource folder. Sets the main bundle when there is none.
std::string ImageCache::pathOfName(const std::string &name) {
    Retained<NSBundle> bundle = resBundle();
    if (!bundle) {
        bundle = NSBundle::mainBundle();
        setResBundle(bundle);
    }
    return bundle->resourcePath() + "/" + name;
}

Retained<UIImage> ImageCache::keep(Retained<UIImage> image, const std::string &name) {
    if (image) {
        _imageDic->setObject_forKey(image, name);
    }
    return image;
}
