#include "Host/Commands/ImageFilesCommand.h"

#include "Host/Support/HostError.h"
#include "Host/Support/ProgressBar.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

void makeFolder(const std::string &path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (!fs::is_directory(path, error)) {
        throw HostError(path, "cannot be made as a folder",
                        "a folder of pictures needs a folder to go to");
    }
}

} // namespace

void ImageFilesCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand(_name, _help);
    _app->add_option("IN", _input, "A picture, or a folder of pictures")->required();
    declareArguments(*_app);
    _app->add_option("-o,--output", _output, "The new file, or the folder for the new files")
        ->type_name("OUT")
        ->required();
}

void ImageFilesCommand::run() {
    std::error_code error;
    const bool isFolder = fs::is_directory(_input, error);
    if (!isFolder) {
        checkNewName(_output);
    }
    prepare();
    if (isFolder) {
        convertFolder();
    } else {
        PictureFile::write(converted(_input), _output);
    }
}

void ImageFilesCommand::convertFolder() const {
    const auto names = PictureFile::namesInFolder(_input);
    checkNewNames(names);
    makeFolder(_output);
    std::error_code error;
    if (fs::equivalent(_input, _output, error)) {
        throw HostError(_output, "is the folder of the pictures itself", "give another folder");
    }
    ProgressBar progress(_name, names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        const fs::path from = fs::path(_input) / names[i];
        const fs::path to = fs::path(_output) / newName(names[i]);
        PictureFile::write(converted(from.string()), to.string());
        progress.update(i + 1);
    }
}

/// Before the first file is written.
void ImageFilesCommand::checkNewNames(const std::vector<std::string> &names) const {
    std::map<std::string, std::string> sources;
    for (const std::string &name : names) {
        const auto [other, isNew] = sources.emplace(newName(name), name);
        if (!isNew) {
            throw HostError((fs::path(_input) / name).string(),
                            "would become the same file as " + other->second, "rename one");
        }
    }
}

} // namespace Lumivera
