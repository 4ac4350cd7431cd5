#pragma once

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <cstdint>
#include <map>
#include <string>

/// A small bundle of pictures in which no rule finds anything, until a test changes it.
class MadeBundle {
  public:
    MadeBundle();

    const std::string &path() const { return _path; }
    std::string pathOf(const std::string &name) const { return _path + "/" + name; }

    /// Changes the description's value, given as XML; an empty one removes the key.
    void set(const std::string &key, const std::string &xml);

    void write(const std::string &name, const std::string &contents) const;
    void remove(const std::string &name) const;

    enum class Edge { Clear, Cut, Opaque, AllClear };

    /// Writes a PNG of that size.
    void draw(const std::string &name, unsigned width, unsigned height, Edge edge) const;

    /// Copies one of the tests' own libraries, or another one by its path in the build folder, and
    /// names it in the description.
    void addLibrary(const std::string &pathInBuild);

  private:
    void writeDescription() const;

    const TemporaryFolder _folder;
    const std::string _path;
    std::map<std::string, std::string> _values;
};
