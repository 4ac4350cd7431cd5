#pragma once

#include "Host/Commands/Command.h"

namespace Lumivera {

/// lumivera image: the operations that wallpapers do on pictures, for people who prepare some.
class ImageCommand final : public Command {
  public:
    ImageCommand();
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::vector<std::unique_ptr<Command>> _operations;
};

} // namespace Lumivera
