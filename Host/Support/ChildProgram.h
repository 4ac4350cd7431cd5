#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// Another program that reads from us through a pipe. It is killed when the object goes before
/// finish() was called. The caller ignores SIGPIPE.
class ChildProgram {
  public:
    /// Finds the program, the first of the arguments, in the usual places. Nothing when it is not
    /// there or cannot be started.
    static std::optional<ChildProgram> start(const std::vector<std::string> &arguments);

    ChildProgram(ChildProgram &&other) noexcept;
    ChildProgram &operator=(ChildProgram &&other) noexcept;
    ~ChildProgram();

    /// False when the program does not take the bytes any more.
    bool write(const void *bytes, std::size_t count);

    /// Ends its input and waits for it to end. True when it says that all went well. Calls after
    /// the first repeat the first's answer.
    bool finish();

    /// The last line that it wrote to its stderr; empty before finish().
    const std::string &complaint() const { return _complaint; }

  private:
    ChildProgram(int process, int input, int errors);
    void closeInput();
    void readComplaint();

    int _process = -1;
    int _input = -1;
    int _errors = -1;
    bool _succeeded = false;
    std::string _complaint;
};

} // namespace Lumivera
