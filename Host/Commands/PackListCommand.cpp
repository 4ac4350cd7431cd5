#include "Host/Commands/PackListCommand.h"

#include "Host/Support/HostError.h"
#include "Host/Support/StandardOutput.h"
#include "Host/Support/TextTable.h"
#include "Host/Wallpapers/ResourcePack.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace Lumivera {

namespace {

using Entries = std::vector<DataEncrypt::Pack::Entry>;

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
    return array.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

} // namespace

void PackListCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("list", "Lists the names in a resource pack, and their sizes.");
    _app->add_option("PACK", _pack, "The pack")->required();
    _app->add_flag("--json", _asJson, "For programs");
}

void PackListCommand::run() {
    const ResourcePack pack = ResourcePack::read(_pack);
    if (!pack.problem.empty() && pack.entries.empty()) {
        throw HostError(_pack, pack.problem, "make it anew with `lumivera pack create`");
    }
    printToStandardOutput(_asJson ? json(pack.entries) : table(pack.entries));
    if (!pack.problem.empty()) {
        throw HostError(_pack, pack.problem, "make it anew with `lumivera pack create`");
    }
}

} // namespace Lumivera
