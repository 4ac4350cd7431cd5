#include "Host/Commands/Command.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/ResourcePack.h"
#include "Platform/Foundation/NSFileManager.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <new>
#include <nlohmann/json.hpp>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

using Entries = std::vector<DataEncrypt::Pack::Entry>;

constexpr const char *kCreateHelp = "Makes a resource pack of files, under their names.";
constexpr const char *kCreateMore =
    "Of a folder it takes the files, but not its subfolders, nor files\n"
    "whose names begin with a dot.";

constexpr const char *kMakeAnew = "make it anew with `lumivera pack create`";

constexpr std::uint64_t kMaxFileBytes = 0x7ffffffe;

std::vector<std::string> filesInFolder(const std::string &folder) {
    const auto names = NSFileManager::contentsOfDirectoryAtPath_error(folder, nullptr);
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
    const auto bytes = readFile(path, kMaxFileBytes);
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

class CreateCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand("create", kCreateHelp);
        _app->footer(kCreateMore);
        _app->add_option("PACK", _pack, "The pack to write")->required();
        _app->add_option("FILE", _files, "Files, or folders of files")->required();
    }

    void run() override {
        const auto files = allFiles(_files);
        if (files.empty()) {
            throw HostError(_files.front(), "has no files", "give files or a folder of files");
        }
        ResourcePack::write(entriesFrom(files), _pack);
    }

  private:
    static DataEncrypt::Datas entriesFrom(const std::vector<std::string> &files) {
        DataEncrypt::Datas entries;
        ProgressBar progress("packing", files.size());
        for (std::size_t i = 0; i < files.size(); ++i) {
            addFile(entries, files[i]);
            progress.update(i + 1);
        }
        return entries;
    }

    std::string _pack;
    std::vector<std::string> _files;
};

std::string table(const Entries &entries) {
    std::vector<std::vector<std::string>> rows{{"NAME", "BYTES"}};
    for (const auto &entry : entries) {
        rows.push_back({entry.key, std::to_string(ResourcePack::payloadSize(entry))});
    }
    return textTable(rows);
}

std::string json(const Entries &entries) {
    auto array = nlohmann::ordered_json::array();
    for (const auto &entry : entries) {
        array.push_back({{"name", entry.key}, {"bytes", ResourcePack::payloadSize(entry)}});
    }
    return safeJson(array.dump(2, ' ', false, nlohmann::json::error_handler_t::replace)) + "\n";
}

class ListPackCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app =
            parent.add_subcommand("list", "Lists the names in a resource pack, and their sizes.");
        _app->add_option("PACK", _pack, "The pack")->required();
        _app->add_flag("--json", _asJson, "Prints JSON, for programs");
    }

    void run() override {
        const ResourcePack pack = ResourcePack::read(_pack);
        if (pack.problem.empty() || !pack.entries.empty()) {
            printToStandardOutput(_asJson ? json(pack.entries) : table(pack.entries));
        }
        if (!pack.problem.empty()) {
            throw HostError(_pack, pack.problem, kMakeAnew);
        }
    }

  private:
    std::string _pack;
    bool _asJson = false;
};

DataEncrypt::Bytes payloadOf(const DataEncrypt::Pack::Entry &entry) {
    DataEncrypt::Bytes payload = DataEncrypt::dataWithEncryptionData(entry.value);
    if (payload.size() != ResourcePack::payloadSize(entry)) {
        throw std::bad_alloc();
    }
    return payload;
}

class ExtractCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand(
            "extract", "Writes the files of a resource pack, over those of the same names.");
        _app->add_option("PACK", _pack, "The pack")->required();
        _app->add_option("-d,--directory", _folder, "Where the files go")
            ->type_name("DIR")
            ->default_str(_folder);
    }

    void run() override {
        const ResourcePack pack = ResourcePack::read(_pack);
        checkNames(pack.entries);
        if (!pack.entries.empty()) {
            extract(pack.entries);
        }
        if (!pack.problem.empty()) {
            throw HostError(_pack, pack.problem,
                            pack.entries.empty() ? "nothing was extracted"
                                                 : "every entry that could be read was extracted");
        }
    }

  private:
    /// Checks every name before the first file is written.
    void checkNames(const Entries &entries) const {
        for (const auto &entry : entries) {
            const std::string problem = ConfinedFolder::problemOfName(entry.key);
            if (!problem.empty()) {
                throw HostError(_pack, "the name \"" + entry.key + "\" " + problem,
                                "nothing was extracted");
            }
        }
    }

    void extract(const Entries &entries) const {
        const ConfinedFolder folder(_folder);
        ProgressBar progress("extracting", entries.size());
        std::size_t done = 0;
        for (const auto &entry : entries) {
            folder.writeFile(entry.key, payloadOf(entry));
            progress.update(++done);
        }
    }

    std::string _pack;
    std::string _folder = ".";
};

} // namespace

std::unique_ptr<Command> makePackCommand() {
    Commands commands;
    commands.push_back(std::make_unique<CreateCommand>());
    commands.push_back(std::make_unique<ListPackCommand>());
    commands.push_back(std::make_unique<ExtractCommand>());
    return makeCommandGroup("pack", "Makes, lists and unpacks resource packs of pictures.", "",
                            std::move(commands));
}

} // namespace Lumivera
