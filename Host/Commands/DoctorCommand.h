#pragma once

#include "Host/Commands/Command.h"

namespace Lumivera {

/// lumivera doctor: what works here, what does not, and what would help.
class DoctorCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    bool _asJson = false;
};

} // namespace Lumivera
