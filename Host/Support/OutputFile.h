#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace Lumivera {

/// A file that comes to be whole or not at all: it is written beside its place under another name
/// and moved there at the end. Every failure is a HostError that names the file.
class OutputFile {
  public:
    /// In place: the file itself is written as it grows, and stays as it is if the work breaks off.
    /// So is whatever is no regular file, a pipe or a device.
    enum class Mode { Whole, InPlace };

    explicit OutputFile(std::string path, Mode mode = Mode::Whole);

    /// Removes what was written unless commit() was called.
    ~OutputFile();

    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    void write(const void *bytes, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }

    /// Hands what was written so far to the system, so that others can read it.
    void flush();

    /// Closes the file and puts it in its place.
    void commit();

    const std::string &path() const { return _path; }

    /// Where a link leads, so that the file there is replaced and not the link; else `path` itself.
    static std::string targetOf(const std::string &path);

    /// The name beside `path` under which its new contents are written.
    static std::string temporaryPathFor(const std::string &path);

  private:
    [[noreturn]] void fail() const;

    std::string _path;
    std::string _target;
    std::string _temporary;
    std::FILE *_file = nullptr;
};

} // namespace Lumivera
