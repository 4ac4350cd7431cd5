#pragma once

#include "Host/Commands/Command.h"
#include "Host/Commands/SizeOptions.h"
#include "Platform/Foundation/NSTypes.h"

#include <optional>
#include <string>

namespace Lumivera {

/// lumivera gallery: every view animation on a flower, in a window, a film or a sheet of moments.
class GalleryCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    void show(const std::string &bundle) const;
    void render(const std::string &bundle) const;

    std::string _bundle;
    std::string _output;
    SizeOptions _size;
    NSUInteger _columns = 0;
    std::optional<double> _seconds;
};

} // namespace Lumivera
