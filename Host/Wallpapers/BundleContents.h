#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Lumivera {

/// All files of a bundle in memory, on their way from one place to another: what was checked is
/// what is written. Any thread.
class BundleContents {
  public:
    struct File {
        /// Within the bundle, with slashes between folders.
        std::string path;
        std::vector<std::uint8_t> bytes;
    };

    /// `name` is that of the bundle's folder, such as "Snow.bundle". Throws a HostError that begins
    /// with `origin` when the bundle breaks a rule: a name that leads out of it, is hidden or could
    /// mean another file too; a limit; a missing or damaged description; a missing library.
    BundleContents(const std::string &origin, std::string name, std::vector<File> files);

    /// Reads a folder, without files whose names begin with a dot. A link that stands for the
    /// library that comes with this program is left out; such a bundle holds no code. Throws a
    /// HostError.
    static BundleContents readFolder(const std::string &path);

    const std::string &name() const { return _name; }

    /// Sorted by the bytes of their paths.
    const std::vector<File> &files() const { return _files; }

    std::uint64_t byteCount() const;

    /// What the description says: the wallpaper's name, else that of the folder without its ending;
    /// the others may be empty.
    const std::string &title() const { return _title; }
    const std::string &author() const { return _author; }
    const std::string &license() const { return _license; }

    /// The paths of the files that can run: the library that the description names, and every file
    /// in the format of programs.
    std::vector<std::string> code() const;

    /// The same bundle under another name, which may lack the ending. Throws a HostError.
    void rename(const std::string &name);

    /// Why a bundle cannot have this name; empty when it can.
    static std::string problemOfName(const std::string &name);

    /// Why a bundle cannot hold a file of this path; empty when it can.
    static std::string problemOfPath(const std::string &path);

    static constexpr const char *kEnding = ".bundle";

    static constexpr std::size_t kMaxFiles = 10'000;
    static constexpr std::uint64_t kMaxBytes = std::uint64_t{512} << 20;
    static constexpr std::size_t kMaxNameBytes = 200;
    static constexpr std::size_t kMaxPathBytes = 1000;

  private:
    void checkFiles(const std::string &origin) const;
    void checkSpellings(const std::string &origin) const;
    void readDescription(const std::string &origin);
    void checkLibrary(const std::string &origin) const;
    const File *find(const std::string &path) const;

    std::string _name;
    std::vector<File> _files;
    std::string _title;
    std::string _author;
    std::string _license;
    std::string _library;
};

} // namespace Lumivera
