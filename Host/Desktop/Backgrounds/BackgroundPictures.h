#pragma once

#include "Host/Desktop/Backgrounds/DesktopProgram.h"
#include "Host/Desktop/Backgrounds/StateFolder.h"
#include "Host/Displays/SharedBuffers.h"

#include <set>
#include <span>

namespace Lumivera {

/// The picture files that the desktop shows: one for each output, or one for the whole screen. A
/// file's name depends on its pixels, because desktops keep pictures by their names. Main thread.
class BackgroundPictures {
  public:
    /// The folder is not owned, and must be taken when pictures are written.
    explicit BackgroundPictures(const StateFolder &folder) : _folder(folder) {}

    /// Writes buffer 0 as the picture of an output, instead of its earlier one. Throws a HostError
    /// when the file cannot be written.
    void set(const std::string &output, const DeviceRect &area, const SharedBuffers &picture);

    void remove(const std::string &output);

    /// The files. Makes the picture of the whole screen when it is wanted. Throws a HostError when
    /// a file cannot be written or read.
    DesktopPictures pictures(bool withScreen) const;

    /// Removes the files that are not the present pictures of the outputs and whose names occur in
    /// none of the texts.
    void removeOthers(const std::set<std::string> &texts) const;

    bool isEmpty() const { return _outputs.empty(); }

    /// Forgets all outputs.
    void clear() { _outputs.clear(); }

    /// Whether a setting's value names a file in the folder.
    bool isInFolder(const std::string &value) const;

  private:
    std::string write(const std::string &name, std::span<const std::uint32_t> pixels,
                      std::size_t width, std::size_t height) const;
    std::string screenPicture() const;

    const StateFolder &_folder;
    std::vector<DesktopPictures::Output> _outputs;
};

} // namespace Lumivera
