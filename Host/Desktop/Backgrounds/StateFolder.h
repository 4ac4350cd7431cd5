#pragma once

#include <string>

namespace Lumivera {

/// The folder that keeps what has to be given back, and the pictures that the desktop shows. Only
/// one process uses it at a time. Main thread.
class StateFolder {
  public:
    /// The folder may not exist yet.
    explicit StateFolder(std::string path) : _path(std::move(path)) {}
    ~StateFolder();

    StateFolder(const StateFolder &) = delete;
    StateFolder &operator=(const StateFolder &) = delete;

    /// Makes the folder, which only this user can read, and takes it for this process until the
    /// object is destroyed or the process has ended in any way. Does nothing when it has it. Throws
    /// a HostError when another process has the folder, when it belongs to another user or others
    /// may write to it, and when it cannot be made.
    void take();

    /// Whether there is a folder, taken or not.
    bool exists() const;

    bool isTaken() const { return _lock >= 0; }
    const std::string &path() const { return _path; }
    std::string pathOf(const std::string &name) const { return _path + "/" + name; }

  private:
    const std::string _path;
    int _lock = -1;
};

} // namespace Lumivera
