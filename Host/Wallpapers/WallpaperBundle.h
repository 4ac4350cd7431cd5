#pragma once

#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/NSBundle.h"

#include <string>

namespace Lumivera {

/// A bundle of which everything was checked that has to be right before a view can come from it.
/// Main thread.
class WallpaperBundle {
  public:
    /// Whose libraries may be loaded.
    enum class Trust {
        Anybody,
        UserAndRoot, ///< the library and its folder are theirs, and nobody else can write them
    };

    /// Checks the folder and its description and loads the library, which then stays for the life
    /// of the process. A HostError says what is wrong.
    explicit WallpaperBundle(const std::string &path, Trust trust = Trust::Anybody);

    const std::string &path() const { return _bundle->bundlePath(); }

    /// For people: the description's "name", else the folder's name.
    const std::string &title() const { return _title; }

    /// The description's falling speed; 0 or more.
    NSInteger fallingSpeed() const { return _fallingSpeed; }

    /// A new view, whose resources load 0.5 s later. A HostError when the library gives none.
    Retained<DeskTopView> makeView() const;

    /// Throws a HostError that names the picture when one that the view needs could not be loaded.
    /// For views that have begun to animate; wallpapers of other kinds always pass.
    void checkPictures(const DeskTopView &view) const;

  private:
    void readDescription();
    void checkLibrary(Trust trust) const;
    void loadLibrary() const;

    Retained<NSBundle> _bundle;
    std::string _libraryPath;
    std::string _title;
    NSInteger _fallingSpeed = 0;
};

} // namespace Lumivera
