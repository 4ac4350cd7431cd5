#include "Host/Program.h"

#include "Host/Commands/Command.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSLog.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <syslog.h>

namespace Lumivera {

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr const char *kDescription =
    "Live wallpapers: petals that fall over a picture and scatter from a tap.";

void complain(const char *line) { std::fprintf(stderr, "lumivera: %s\n", line); }

/// Ignores SIGPIPE and SIGXFSZ, so that the write that fails reports the error. Sends the log to
/// syslog, because on the terminal it would mix with the program's own lines.
void prepareProcess() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    NSLogSetSink([](std::string_view line) {
        syslog(LOG_USER | LOG_INFO, "%.*s", static_cast<int>(line.size()), line.data());
    });
}

/// Prints help, version or the error, and returns the exit status.
int finishParsing(const CLI::App &app, const CLI::ParseError &error) {
    if (error.get_exit_code() == 0) {
        return app.exit(error);
    }
    const std::string line = inOneLine(error.what()) + "; see `lumivera --help`";
    complain(line.c_str());
    return kWrongUsage;
}

/// Runs the chosen command and returns the exit status.
int runAndReport(const Commands &commands) {
    try {
        runChosen(commands);
    } catch (const UsageError &error) {
        complain(error.what());
        return kWrongUsage;
    } catch (const HostError &error) {
        complain(error.what());
        return kFailed;
    } catch (const std::bad_alloc &) {
        complain("out of memory; try a smaller size");
        return kFailed;
    } catch (const std::exception &error) {
        complain(inOneLine(error.what()).c_str());
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
