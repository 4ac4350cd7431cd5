#include "Host/Commands/Command.h"

#include "Host/Commands/Installing/BundleNotice.h"
#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/BundleArchive.h"
#include "Host/Wallpapers/Places.h"

#include <CLI/CLI.hpp>
#include <filesystem>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kPackHelp = "Makes one file of a bundle, to share it.";
constexpr const char *kPackMore =
    "Files whose names begin with a dot are left out. The same bundle always\n"
    "gives the same bytes. Others install the file with `lumivera install`.";

/// A folder here comes before an installed bundle of that name.
std::string bundlePath(const std::string &argument) {
    std::error_code error;
    return fs::is_directory(argument, error) ? argument : Places::requireBundle(argument);
}

/// lumivera bundle pack: a bundle as one file.
class PackBundleCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand("pack", kPackHelp);
        _app->footer(kPackMore);
        _app->add_option("BUNDLE", _bundle, "The bundle's folder, or the name of an installed one")
            ->required();
        _app->add_option("-o,--output", _output, "The file to write [NAME.lumivera]")
            ->type_name("FILE");
    }

    void run() override {
        const BundleContents bundle = BundleContents::readFolder(bundlePath(_bundle));
        const std::string path =
            _output.empty() ? fs::path(bundle.name()).stem().string() + BundleArchive::kEnding
                            : _output;
        const std::vector<std::uint8_t> bytes = BundleArchive::bytesOf(bundle, path);
        OutputFile file(path, OutputFile::Mode::RegularFile);
        file.write(bytes.data(), bytes.size());
        file.commit();
        printToStandardOutput(inOneLine(path) + ": " + BundleNotice::contentsText(bundle) + "\n" +
                              BundleNotice::whatIsMissing(bundle));
    }

  private:
    std::string _bundle;
    std::string _output;
};

} // namespace

std::unique_ptr<Command> makeBundleCommand() {
    Commands commands;
    commands.push_back(std::make_unique<PackBundleCommand>());
    return makeCommandGroup("bundle", "Makes one file of a bundle.", "", std::move(commands));
}

} // namespace Lumivera
