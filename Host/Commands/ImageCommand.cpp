#include "Host/Commands/ImageCommand.h"

#include "Host/Commands/ImageOperations.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Tints, masks, cuts, rounds and scrambles pictures.";

constexpr const char *kMore =
    "IN is a picture, and OUT a PNG file; or IN is a folder of pictures, and OUT the folder\n"
    "into which each goes under its own name. COLOUR is #rgb, #rrggbb, #rrggbbaa or a name.";

} // namespace

ImageCommand::ImageCommand() : _operations(imageOperations()) {}

void ImageCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("image", kHelp);
    _app->footer(kMore);
    _app->require_subcommand(1);
    for (const auto &operation : _operations) {
        operation->declare(*_app);
    }
}

void ImageCommand::run() {
    for (const auto &operation : _operations) {
        if (operation->isChosen()) {
            operation->run();
        }
    }
}

} // namespace Lumivera
