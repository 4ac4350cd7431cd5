#pragma once

#include "Host/Commands/Command.h"

#include <string>

namespace Lumivera {

/// lumivera pack create: pictures into a resource pack.
class PackCreateCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::string _pack;
    std::vector<std::string> _files;
};

} // namespace Lumivera
