#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

/// The real program, run as a user would.
class ProgramRun {
  public:
    struct Options {
        /// NAME=VALUE, on top of the test's own; without a value the variable is removed.
        std::vector<std::string> environment;

        /// No file may grow beyond that many bytes, as on a full disk.
        std::optional<std::uint64_t> largestFile;

        std::string folder;
    };

    /// Runs it to its end.
    explicit ProgramRun(const std::vector<std::string> &arguments)
        : ProgramRun(arguments, Options()) {}
    ProgramRun(const std::vector<std::string> &arguments, const Options &options);

    /// The exit status; 128 and the signal's number when one ended it.
    int status() const { return _status; }
    const std::string &output() const { return _output; }
    const std::string &errors() const { return _errors; }

    /// True when stderr holds one line that begins with the program's name.
    bool saysOneLine() const;

    /// Begins it and leaves it running; the caller waits for the process.
    static pid_t begin(const std::vector<std::string> &arguments, const Options &options,
                       int output, int errors);

    /// The exit status of a process, in the same form, once it has ended.
    static int waitFor(pid_t process);

  private:
    int _status = -1;
    std::string _output;
    std::string _errors;
};

/// The whole of a file; empty when there is none.
std::string contentsOf(const std::string &path);

/// A bundle of the build's own.
std::string shippedBundle(const std::string &name);

/// A copy of the shipped bundle that a test may break; its path.
std::string copyOfShippedBundle(const std::string &folder);

/// A bundle with that description alone; its path.
std::string bundleWithDescription(const std::string &folder, const std::string &description);

/// A bundle of a wallpaper that the tests bring; its path.
std::string testBundle(const std::string &folder, const std::string &wallpaper);

/// A property list with one dictionary of that inside.
std::string propertyList(const std::string &entries);
