#pragma once

#include <string>

namespace Lumivera {

/// The last bundle that ran for a while without failing. A file in the user's state folder keeps it
/// between runs of the host. Main thread.
class LastGoodBundle {
  public:
    /// Reads the file, which may be missing. With an empty path nothing is kept.
    explicit LastGoodBundle(std::string filePath);

    /// The bundle's path; empty when there is none.
    const std::string &path() const { return _path; }

    /// Writes the file if the path has changed. Ignores a file that cannot be written.
    void set(const std::string &path);

    /// The path of this user's file.
    static std::string userFilePath();

  private:
    const std::string _filePath;
    std::string _path;
};

} // namespace Lumivera
