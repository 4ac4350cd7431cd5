#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Lumivera {

/// A file that is written whole or not at all: the bytes go to a new file of a random name in the
/// same folder, which commit() renames. The new file has the permissions of the one that it
/// replaces; one that its owner may not write is refused. A symbolic link is kept and the file that
/// it leads to is replaced, unless the link belongs to another user. Every failure is a HostError
/// that names the file.
class OutputFile {
  public:
    /// InPlace writes to the file itself, so that a failure leaves what was written so far. In both
    /// these modes a pipe, a terminal or another character device is written in place, and writing
    /// fails when nobody reads for a minute. RegularFile writes whole or not at all, and refuses
    /// all that is no regular file, because a program in the background must not wait for it.
    enum class Mode { Whole, InPlace, RegularFile };

    explicit OutputFile(std::string path, Mode mode = Mode::Whole);

    /// A whole file in a folder that is open already; the descriptor is not owned. Follows no link:
    /// what has the name is replaced. `path` is for messages.
    OutputFile(int folder, std::string name, std::string path);

    /// Removes the new file unless commit() was called.
    ~OutputFile();

    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    void write(const void *bytes, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }

    /// Lets nobody but the user read the file, now and under its name.
    void restrictToUser();

    /// Empties the buffer, so that other programs can read what was written so far.
    void flush();

    /// Closes the file and gives it its name.
    void commit();

    const std::string &path() const { return _path; }

    /// The descriptor of the file that is written, for other writers than write().
    int descriptor() const { return _file; }

    /// A path by which this process can open the file that is written, whatever its name is.
    std::string descriptorPath() const;

    /// True for a pipe, a terminal or another character device.
    bool isSpecial() const { return _isSpecial; }

    /// Removes the unfinished files of all objects. For handlers of signals that end the process.
    static void removeUnfinished() noexcept;

  private:
    void openSpecial();
    void findTarget();
    void examineTarget();
    void openTarget();
    void openPart();
    void removePart();
    void keepOwnerAndPermissions() const;
    void close();
    void waitForReader() const;
    [[noreturn]] void fail() const;

    std::string _path;
    int _folder = -1;
    std::string _name;
    std::string _part;
    int _slot = -1;
    int _file = -1;
    bool _isSpecial = false;
    std::string _buffer;

    /// What is replaced; nothing when the mode is 0.
    unsigned _mode = 0;
    unsigned _owner = 0;
    unsigned _group = 0;
};

} // namespace Lumivera
