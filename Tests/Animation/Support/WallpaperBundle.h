#pragma once

#include "Platform/Foundation/NSBundle.h"
#include "Tests/Animation/Support/Pictures.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <string>

/// The seven petal pictures, each with a different size.
struct PetalPicture {
    const char *name;
    unsigned width;
    unsigned height;
};

inline constexpr PetalPicture kPetalPictures[] = {
    {"lumivera_flower1.png", 30, 28}, {"lumivera_flower2.png", 26, 26},
    {"lumivera_flower3.png", 32, 30}, {"lumivera_petal1.png", 20, 30},
    {"lumivera_petal2.png", 18, 14},  {"lumivera_petal3.png", 16, 22},
    {"lumivera_petal4.png", 24, 12},
};

/// A wallpaper bundle in a temporary folder; empty at first.
class WallpaperBundle {
  public:
    const TemporaryFolder &folder() const { return _folder; }

    Retained<NSBundle> open() const { return NSBundle::bundleWithPath(_folder.path()); }

    /// A description whose dictionary holds these lines, such as
    /// "<key>sakura Count</key><integer>5</integer>".
    void describe(const std::string &entries) const {
        _folder.write("description.plist", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                                           "<plist version=\"1.0\"><dict>" +
                                               entries + "</dict></plist>");
    }

    void addPicture(const std::string &name, unsigned width, unsigned height) const {
        _folder.write(name, pngOfSize(width, height));
    }

    /// The background and the petals.
    void addPictures() const {
        addPicture("lumivera_background_.png", 32, 48);
        for (const PetalPicture &picture : kPetalPictures) {
            addPicture(picture.name, picture.width, picture.height);
        }
    }

  private:
    TemporaryFolder _folder;
};
