#pragma once

#include "Host/Commands/Command.h"

namespace Lumivera {

/// lumivera autostart: whether the desktop starts with the user's session.
class AutostartCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    static void turnOn();
    static void turnOff();
    static void tellStatus();
};

} // namespace Lumivera
