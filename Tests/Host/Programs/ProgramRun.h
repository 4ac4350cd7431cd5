#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

/// Runs the real program as a user would.
class ProgramRun {
  public:
    struct Options {
        /// NAME=VALUE entries, added to the test's own environment; NAME alone removes the
        /// variable.
        std::vector<std::string> environment;

        /// The largest size of a file in bytes; takes the place of a full disk.
        std::optional<std::uint64_t> largestFile;

        std::string folder;

        /// The address space that it may take, in bytes.
        std::optional<std::uint64_t> mostMemory = {};
    };

    /// Runs the program and waits until it ends.
    explicit ProgramRun(const std::vector<std::string> &arguments)
        : ProgramRun(arguments, Options()) {}
    ProgramRun(const std::vector<std::string> &arguments, const Options &options);

    /// The exit status; 128 plus the signal's number when a signal ended it.
    int status() const { return _status; }
    const std::string &output() const { return _output; }
    const std::string &errors() const { return _errors; }

    /// True when stderr holds one line that begins with the program's name.
    bool saysOneLine() const;

    /// Starts the program and does not wait; the caller waits for the process.
    static pid_t begin(const std::vector<std::string> &arguments, const Options &options,
                       int output, int errors);

    /// Waits for a process; its exit status in the same form.
    static int waitFor(pid_t process);

  private:
    int _status = -1;
    std::string _output;
    std::string _errors;
};

/// The contents of a file; empty when there is none.
std::string contentsOf(const std::string &path);

/// The commands in the code blocks of a page in Docs, in words and each without `lumivera`.
std::vector<std::vector<std::string>> commandsIn(const std::string &page);

/// The path of a shipped bundle in the build folder.
std::string shippedBundle(const std::string &name);

/// Makes a copy of the shipped bundle that a test may damage; returns its path.
std::string copyOfShippedBundle(const std::string &folder);

/// Makes a bundle of that description alone; returns its path.
std::string bundleWithDescription(const std::string &folder, const std::string &description);

/// Makes a bundle with one of the tests' own wallpapers; returns its path.
std::string testBundle(const std::string &folder, const std::string &wallpaper);

/// A property list whose only dictionary has these entries.
std::string propertyList(const std::string &entries);
