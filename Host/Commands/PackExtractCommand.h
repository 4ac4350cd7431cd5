#pragma once

#include "Host/Commands/Command.h"

#include <string>

namespace Lumivera {

/// lumivera pack extract: the pictures of a resource pack as files.
class PackExtractCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::string _pack;
    std::string _folder = ".";
};

} // namespace Lumivera
