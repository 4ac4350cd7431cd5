#include "Host/Commands/PackCreateCommand.h"

#include "Host/Support/HostError.h"
#include "Host/Support/ProgressBar.h"
#include "Host/Wallpapers/ResourcePack.h"
#include "Platform/Foundation/NSFileManager.h"

#include <CLI/CLI.hpp>
#include <filesystem>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kHelp = "Makes a resource pack of files, under their names.";

constexpr const char *kMore = "Of a folder it takes the files, but not its subfolders, nor files\n"
                              "whose names begin with a dot.";

constexpr std::uint64_t kLargestFile = 0x7ffffffe;

std::vector<std::string> filesInFolder(const std::string &folder) {
    std::string reason;
    const auto names = NSFileManager::contentsOfDirectoryAtPath_error(folder, &reason);
    if (!names) {
        throw HostError(folder, "cannot be read as a folder", "check its permissions");
    }
    std::vector<std::string> paths;
    for (const std::string &name : *names) {
        const fs::path path = fs::path(folder) / name;
        std::error_code error;
        if (!name.starts_with('.') && fs::is_regular_file(path, error)) {
            paths.push_back(path.string());
        }
    }
    return paths;
}

std::vector<std::string> allFiles(const std::vector<std::string> &arguments) {
    std::vector<std::string> paths;
    for (const std::string &argument : arguments) {
        std::error_code error;
        if (fs::is_directory(argument, error)) {
            const auto inside = filesInFolder(argument);
            paths.insert(paths.end(), inside.begin(), inside.end());
        } else {
            paths.push_back(argument);
        }
    }
    return paths;
}

void addFile(DataEncrypt::Datas &entries, const std::string &path) {
    const std::string key = fs::path(path).filename().string();
    const std::string problem = ResourcePack::problemOfKey(key);
    if (!problem.empty()) {
        throw HostError(path, problem, "rename the file");
    }
    const auto bytes = readFile(path, kLargestFile);
    if (!bytes) {
        throw HostError(path, "cannot be read as a file of less than 2 GiB",
                        "check the name and its permissions");
    }
    const bool isNew =
        entries.emplace(key, DataEncrypt::encryptionDataWithData_encrypt(*bytes, true)).second;
    if (!isNew) {
        throw HostError(path, "has the same name as another file of the pack", "rename one");
    }
}

} // namespace

void PackCreateCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("create", kHelp);
    _app->footer(kMore);
    _app->add_option("PACK", _pack, "The pack to write")->required();
    _app->add_option("FILE", _files, "Files, or folders of files")->required();
}

void PackCreateCommand::run() {
    DataEncrypt::Datas entries;
    const auto files = allFiles(_files);
    if (files.empty()) {
        throw HostError(_files.front(), "has no files", "give files or a folder of files");
    }
    {
        ProgressBar progress("packing", files.size());
        for (std::size_t i = 0; i < files.size(); ++i) {
            addFile(entries, files[i]);
            progress.update(i + 1);
        }
    }
    ResourcePack::write(entries, _pack);
}

} // namespace Lumivera
