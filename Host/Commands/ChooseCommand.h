#pragma once

#include "Host/Commands/Command.h"
#include "Host/Commands/SizeOptions.h"

#include <string>
#include <vector>

namespace Lumivera {

/// lumivera choose: a window in which a person picks a wallpaper.
class ChooseCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::vector<std::string> _folders;
    SizeOptions _size;
};

} // namespace Lumivera
