#include "Host/Commands/PackListCommand.h"

#include "Host/Packs/ResourcePack.h"
#include "Host/Support/HostError.h"
#include "Host/Support/StandardOutput.h"
#include "Host/Support/TextTable.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace Lumivera {

namespace {

/// Without the byte that says how the value is stored.
std::size_t payloadSize(const DataEncrypt::Bytes &value) {
    return value.empty() ? 0 : value.size() - 1;
}

std::string table(const DataEncrypt::Datas &entries) {
    std::vector<std::vector<std::string>> rows{{"NAME", "BYTES"}};
    for (const auto &[key, value] : entries) {
        rows.push_back({key, std::to_string(payloadSize(value))});
    }
    return textTable(rows);
}

std::string json(const DataEncrypt::Datas &entries) {
    auto array = nlohmann::ordered_json::array();
    for (const auto &[key, value] : entries) {
        nlohmann::ordered_json entry;
        entry["name"] = key;
        entry["bytes"] = payloadSize(value);
        array.push_back(entry);
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
