#pragma once

#include "Host/Commands/Command.h"
#include "Host/Commands/SettingsOptions.h"

#include <optional>
#include <string>

namespace Lumivera {

/// lumivera run: a wallpaper in a window.
class RunCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::string _bundle;
    std::string _trace;
    SettingsOptions _settings;
    std::optional<double> _seconds;
};

} // namespace Lumivera
