#pragma once

#include "Host/Wallpapers/BundleFolder.h"

#include <string>
#include <vector>

namespace Lumivera {

struct LibraryNeeds;

/// A bundle's library, opened once: the file that was checked is the one that is loaded, whatever
/// happens to its name meanwhile. Main thread.
class BundleLibrary {
  public:
    /// Opens the library of that name, which must be a plain file name, and be made for this
    /// program's interface of the wallpaper kit, unless it does not tell for which; an empty name
    /// stands for the library that comes with this program. Of a bundle that must be trusted, it
    /// also opens the libraries in the bundle that this one needs; all others must be loaded
    /// already or come from the system. Throws a HostError that says what is wrong.
    BundleLibrary(const BundleFolder &folder, const std::string &name);
    ~BundleLibrary();

    BundleLibrary(const BundleLibrary &) = delete;
    BundleLibrary &operator=(const BundleLibrary &) = delete;

    /// When the functions that the library calls are looked up: each at its first call, or all when
    /// it is loaded.
    enum class Binding { Lazy, Now };

    /// Loads the library, which runs its code and stays loaded until the process ends. Close the
    /// bundle's folder before. Returns the handle for dlsym(); throws a HostError.
    void *load(Binding binding = Binding::Lazy);

    const std::string &path() const { return _path; }

    /// Throws a HostError for a name that could lead out of the bundle or that the dynamic loader
    /// would change: one with a slash or a dollar sign, "." and "..".
    static void checkName(const std::string &name, const std::string &descriptionPath);

  private:
    struct File {
        int descriptor;
        std::string name;
    };

    void open(const std::string &name);
    void openNeeds(const LibraryNeeds &needs, const std::string &path);
    void checkSearch(const std::vector<std::string> &folders, const std::string &path) const;
    bool isOpen(const std::string &name) const;
    std::string pathOf(const std::string &name) const;
    void *load(File &file, Binding binding) const;

    const BundleFolder &_folder;
    const std::string _bundlePath;
    const std::string _path;
    const bool _isByDescriptor;

    /// In the order in which they are loaded; the bundle's library is the last one.
    std::vector<File> _files;
    std::vector<std::string> _names;
};

} // namespace Lumivera
