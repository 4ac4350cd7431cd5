#pragma once

#include "Host/Commands/Command.h"

#include <string>

namespace Lumivera {

/// lumivera ctl: asks the running host for something.
class CtlCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

    /// The answer to a question for the status as columns for people. A HostError when it is none.
    static std::string statusTable(const std::string &answer);

  private:
    CLI::App &declareAction(const char *name, const char *help);

    /// What the command line says, as one line of the control protocol.
    std::string request() const;

    std::string _output;
    std::string _key;
    std::string _value;
    std::string _bundle;
    std::string _file;
    double _x = 0;
    double _y = 0;
    bool _asJson = false;
};

} // namespace Lumivera
