#pragma once

#include "Host/Commands/Command.h"
#include "Host/Wallpapers/BundleListing.h"

#include <string>

namespace Lumivera {

/// lumivera list: the bundles in some folders, from their descriptions alone.
class ListCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

    /// The listings as columns for people.
    static std::string table(const std::vector<BundleListing> &listings);

    /// The same for programs.
    static std::string json(const std::vector<BundleListing> &listings);

  private:
    std::vector<std::string> _folders;
    bool _asJson = false;
};

} // namespace Lumivera
