#pragma once

#include "Host/Commands/Command.h"

#include <string>

namespace Lumivera {

/// lumivera completions: prints the script that lets a shell complete our command lines. Hidden:
/// whoever packs the program runs it.
class CompletionsCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    CLI::App *_program = nullptr;
    std::string _shell;
};

} // namespace Lumivera
