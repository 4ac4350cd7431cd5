#include "Host/Commands/PackExtractCommand.h"

#include "Host/Support/HostError.h"
#include "Host/Support/ProgressBar.h"
#include "Host/Wallpapers/ConfinedFolder.h"
#include "Host/Wallpapers/ResourcePack.h"

#include <CLI/CLI.hpp>
#include <new>

namespace Lumivera {

namespace {

DataEncrypt::Bytes payloadOf(const DataEncrypt::Pack::Entry &entry) {
    DataEncrypt::Bytes payload = DataEncrypt::dataWithEncryptionData(entry.value);
    if (payload.size() != ResourcePack::payloadSize(entry)) {
        throw std::bad_alloc();
    }
    return payload;
}

} // namespace

void PackExtractCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand(
        "extract", "Writes the files of a resource pack, over those of the same names.");
    _app->add_option("PACK", _pack, "The pack")->required();
    _app->add_option("-d,--directory", _folder, "Where the files go")
        ->type_name("DIR")
        ->default_str(_folder);
}

/// Every name is looked at before the first file is written.
void PackExtractCommand::run() {
    const ResourcePack pack = ResourcePack::read(_pack);
    for (const auto &entry : pack.entries) {
        if (!ConfinedFolder::isInside(entry.key)) {
            throw HostError(_pack, "the name \"" + entry.key + "\" would leave the folder",
                            "nothing was extracted");
        }
    }
    if (!pack.entries.empty()) {
        const ConfinedFolder folder(_folder);
        ProgressBar progress("extracting", pack.entries.size());
        std::size_t done = 0;
        for (const auto &entry : pack.entries) {
            folder.writeFile(entry.key, payloadOf(entry));
            progress.update(++done);
        }
    }
    if (!pack.problem.empty()) {
        throw HostError(_pack, pack.problem,
                        pack.entries.empty() ? "nothing was extracted"
                                             : "every entry that could be read was extracted");
    }
}

} // namespace Lumivera
