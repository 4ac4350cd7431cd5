#include "Host/Program.h"

#include "Host/Commands/Command.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Support/Processes.h"
#include "Host/Support/SystemLog.h"
#include "Platform/Foundation/NSLog.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace Lumivera {

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr const char *kDescription =
    "Live wallpapers: petals that fall over a picture and scatter from a tap.";

/// Sends the log to the system's, because on the terminal it would mix with the program's own
/// lines.
void prepareProcess() {
    prepareSignals();
    NSLogSetSink([log = std::make_shared<SystemLog>()](std::string_view line) {
        log->write(inOneLine(line));
    });
}

/// Prints help, version or the error, and returns the exit status.
int finishParsing(const CLI::App &app, const CLI::ParseError &error) {
    if (error.get_exit_code() == 0) {
        return app.exit(error);
    }
    printError(std::string(error.what()) + "; see `lumivera --help`");
    return kWrongUsage;
}

/// Runs the chosen command and returns the exit status.
int runAndReport(const Commands &commands) {
    try {
        runChosen(commands);
    } catch (const UsageError &error) {
        printError(error.what());
        return kWrongUsage;
    } catch (const HostError &error) {
        printError(error.what());
        return kFailed;
    } catch (const std::bad_alloc &) {
        printError("out of memory; try a smaller size");
        return kFailed;
    } catch (const std::exception &error) {
        printError(error.what());
        return kFailed;
    }
    return 0;
}

} // namespace

int runProgram(int argumentCount, const char *const *arguments) {
    prepareProcess();
    CLI::App app(kDescription, "lumivera");
    app.set_version_flag("--version", std::string("lumivera ") + LUMIVERA_VERSION);
    app.require_subcommand(1);
    app.get_formatter()->column_width(28);
    const auto commands = allCommands();
    for (const auto &command : commands) {
        command->declare(app);
    }
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError &error) {
        return finishParsing(app, error);
    }
    return runAndReport(commands);
}

} // namespace Lumivera
