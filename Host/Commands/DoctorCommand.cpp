#include "Host/Commands/DoctorCommand.h"

#include "Host/Commands/Examination.h"
#include "Host/Support/HostError.h"
#include "Host/Support/StandardOutput.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

namespace {

constexpr const char *kHelp =
    "Says what this desktop offers to wallpapers, and what is wrong with those installed.";

constexpr const char *kMore = "Lines begin with ok, with -- for what would be better otherwise,\n"
                              "or with !! for what does not work. The exit status is 1 when\n"
                              "`lumivera desktop` cannot work here.";

} // namespace

void DoctorCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("doctor", kHelp);
    _app->footer(kMore);
    _app->add_flag("--json", _asJson, "For programs");
}

void DoctorCommand::run() {
    const Examination examination = Examination::make();
    printToStandardOutput(_asJson ? examination.json() : examination.text());
    if (!examination.isDesktopUsable()) {
        throw HostError("desktop", "no wallpaper can be shown behind the icons here",
                        "see the lines with !! above");
    }
}

} // namespace Lumivera
