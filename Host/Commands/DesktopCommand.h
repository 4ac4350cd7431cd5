#pragma once

#include "Host/Commands/Command.h"
#include "Host/Desktop/DesktopHost.h"
#include "Host/Displays/WindowSystem.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// lumivera desktop: wallpapers behind the icons, on every output.
class DesktopCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    void declareChoice();
    void declarePauses();
    void declareSwitch(const std::string &name, const char *help);

    /// Nothing when the command line does not say.
    std::optional<bool> switchNamed(const std::string &name) const;
    DesktopHost::Options hostOptions() const;
    DesktopOptions desktopOptions(const Configuration &configuration) const;
    void readOutputs(DesktopHost::Options &options) const;

    std::string _bundle;
    std::vector<std::string> _outputs;
    std::map<std::string, std::string> _values;
    std::string _display = "auto";
    std::string _configuration;
    std::optional<double> _density;
    std::optional<PauseOptions::OnBattery> _onBattery;
};

} // namespace Lumivera
