#pragma once

#include <string>

namespace Lumivera {

/// The bundle that last ran for a while without harm, kept in a file of the user's state folder
/// from one start of the host to the next. Main thread.
class LastGoodBundle {
  public:
    /// Reads the file; without one there is no such bundle. An empty path keeps nothing.
    explicit LastGoodBundle(std::string filePath);

    /// Its path; empty when there is none.
    const std::string &path() const { return _path; }

    /// Writes the file when this is news. One that cannot be written changes nothing else.
    void set(const std::string &path);

    /// Where the file of this user is.
    static std::string userFilePath();

  private:
    const std::string _filePath;
    std::string _path;
};

} // namespace Lumivera
