#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/UIKit/UIImage.h"

#include <string>

/// The process-wide cache of pictures by file name: each is loaded once from the current bundle, or
/// comes from a resource pack, and is kept until the cache is emptied. Main thread; look-ups also
/// on a wallpaper's resource thread.
class WALLPAPER_EXPORT ImageCache final : public NSObject {
  public:
    /// Made on the first call; lives as long as the process.
    static ImageCache *sharedInstance();

    /// Empties the shared instance's cache, if it was made; the instance and its bundle stay.
    static void releaseInstance();

    /// An empty cache without a bundle.
    static Retained<ImageCache> init();

    /// Null when none is set; the first look-up then takes the main bundle.
    Retained<NSBundle> resBundle() const { return _resBundle.get(); }

    /// Empties the cache, even when the bundle stays the same.
    void setResBundle(Retained<NSBundle> bundle);

    /// Empties the cache and fills it with the pictures of a pack in the bundle's resource folder.
    /// Entries that are no pictures are skipped; a missing pack leaves the cache empty.
    void setResourceData(const std::string &packFileName);

    /// Null when there is no such picture; the next call looks for it again.
    Retained<UIImage> imageWithName(const std::string &name);

    /// As imageWithName, but a picture that this call loads gets the main screen's scale.
    Retained<UIImage> imageWithName2x(const std::string &name);

    void clearMemorryCache();

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    ImageCache();
    ~ImageCache() override;

    std::string pathOfName(const std::string &name);
    Retained<UIImage> keep(Retained<UIImage> image, const std::string &name);

    Retained<NSMutableDictionary<UIImage>> _imageDic;
    TreeValue<Retained<NSBundle>> _resBundle;
};
