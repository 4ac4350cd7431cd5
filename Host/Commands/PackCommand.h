#pragma once

#include "Host/Commands/Command.h"

namespace Lumivera {

/// lumivera pack: its three commands make, list and unpack resource packs.
class PackCommand final : public Command {
  public:
    PackCommand();
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::vector<std::unique_ptr<Command>> _commands;
};

} // namespace Lumivera
