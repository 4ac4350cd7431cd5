#pragma once

#include <string>
#include <vector>

namespace Lumivera {

/// A file, or a folder with everything below it, that a confined process may read.
struct ReadableFile {
    std::string path;

    /// False for what a stranger has made: a path that is itself a link leads nowhere.
    bool mayBeLink = true;

    /// Opens the file to refer to it, not to read it; -1 when it is missing or a refused link.
    int open() const;
};

/// What Landlock allows of files, and of processes.
namespace FileRules {

/// The version of Landlock in this kernel; 0 when it has none.
int version();

/// From this version on, signals to other processes are refused.
constexpr int kSignals = 6;

/// Irrevocably restricts the files that this process may read to the given ones, and lets it write
/// none. From version 4 on, it may use no network ports, and from kSignals on, it may signal no
/// process and reach no socket without a path outside. False when that fails. `newest` stands for
/// an older kernel. New privileges must have been given up.
bool enter(const std::vector<ReadableFile> &readable, int newest);

} // namespace FileRules

} // namespace Lumivera
