#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

/// A new empty folder that is removed, with everything in it, when the test ends.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "lumivera-XXXXXX";
        if (!mkdtemp(pattern.data())) {
            throw std::runtime_error("no temporary folder");
        }
        _path = pattern;
    }

    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }

    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::string &path() const { return _path; }

    /// The path of a name in the folder, whether or not there is such a file.
    std::string pathOf(std::string_view name) const { return _path + "/" + std::string(name); }

    /// Writes a file and returns its path.
    std::string write(std::string_view name, std::string_view contents) const {
        std::ofstream file(pathOf(name), std::ios::binary);
        file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
        file.close();
        if (!file) {
            throw std::runtime_error("cannot write " + pathOf(name));
        }
        return pathOf(name);
    }

    std::string write(std::string_view name, std::span<const std::uint8_t> contents) const {
        const auto *characters = reinterpret_cast<const char *>(contents.data());
        return write(name, std::string_view(characters, contents.size()));
    }

    /// Makes a folder in the folder and returns its path.
    std::string makeFolder(std::string_view name) const {
        std::filesystem::create_directory(pathOf(name));
        return pathOf(name);
    }

  private:
    std::string _path;
};
