#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace Lumivera {

/// A file that is written whole or not at all: the bytes go to a temporary file in the same folder,
/// which commit() renames. Every failure is a HostError that names the file.
class OutputFile {
  public:
    /// InPlace writes to the file itself, so that a failure leaves what was written so far. Pipes
    /// and devices are always written in place.
    enum class Mode { Whole, InPlace };

    explicit OutputFile(std::string path, Mode mode = Mode::Whole);

    /// Removes the temporary file unless commit() was called.
    ~OutputFile();

    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    void write(const void *bytes, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }

    /// Empties the buffer, so that other programs can read what was written so far.
    void flush();

    /// Closes the file and gives it its name.
    void commit();

    const std::string &path() const { return _path; }

    /// The file that a symbolic link leads to, so that the link is kept; else `path` itself.
    static std::string targetOf(const std::string &path);

    /// The name of the temporary file for `path`, in the same folder.
    static std::string temporaryPathFor(const std::string &path);

  private:
    [[noreturn]] void fail() const;

    std::string _path;
    std::string _target;
    std::string _temporary;
    std::FILE *_file = nullptr;
};

} // namespace Lumivera
