#pragma once

#include "Host/Commands/Command.h"

#include <string>

namespace Lumivera {

/// lumivera pack list: what is in a resource pack.
class PackListCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::string _pack;
    bool _asJson = false;
};

} // namespace Lumivera
