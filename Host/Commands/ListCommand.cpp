#include "Host/Commands/Command.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/Rules/BundleRules.h"
#include "Host/Wallpapers/WallpaperBundle.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Lists wallpaper bundles, from their descriptions alone.";

constexpr const char *kMore = "Without a folder, it lists the installed ones and the user's own.";

std::string numberText(const std::optional<std::int32_t> &number) {
    return number ? std::to_string(*number) : "-";
}

std::string textOrDash(const std::string &text) { return text.empty() ? "-" : text; }

nlohmann::json numberJson(const std::optional<std::int32_t> &number) {
    return number ? nlohmann::json(*number) : nlohmann::json();
}

/// Of a bundle that can be shown all the same.
Remarks mistakesIn(const BundleListing &listing) {
    return listing.problem.empty() ? cheapMistakes(listing.path) : Remarks();
}

std::string table(const std::vector<BundleListing> &listings) {
    if (listings.empty()) {
        return "No wallpapers found.\n";
    }
    std::vector<std::vector<std::string>> rows{
        {"NAME", "AUTHOR", "LICENCE", "PETALS", "SPEED", "PATH"}};
    for (const BundleListing &listing : listings) {
        const std::string words =
            listing.problem.empty() ? textOf(mistakesIn(listing)) : listing.problem;
        const std::string problem = words.empty() ? "" : "  (" + words + ")";
        rows.push_back({listing.name, textOrDash(listing.author), textOrDash(listing.license),
                        numberText(listing.petals), numberText(listing.speed),
                        listing.path + problem});
    }
    return textTable(rows);
}

std::string json(const std::vector<BundleListing> &listings) {
    auto array = nlohmann::ordered_json::array();
    for (const BundleListing &listing : listings) {
        nlohmann::ordered_json entry;
        entry["path"] = listing.path;
        entry["name"] = listing.name;
        entry["author"] = listing.author;
        entry["summary"] = listing.summary;
        entry["license"] = listing.license;
        entry["petals"] = numberJson(listing.petals);
        entry["speed"] = numberJson(listing.speed);
        entry["problem"] =
            listing.problem.empty() ? nlohmann::json() : nlohmann::json(listing.problem);
        entry["mistakes"] = nlohmann::ordered_json::array();
        for (const Remark &mistake : mistakesIn(listing)) {
            entry["mistakes"].push_back(mistake.line());
        }
        array.push_back(entry);
    }
    return safeJson(array.dump(2, ' ', false, nlohmann::json::error_handler_t::replace)) + "\n";
}

/// lumivera list: the bundles in some folders, from their descriptions alone.
class ListCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand("list", kHelp);
        _app->footer(kMore);
        _app->add_option("DIR", _folders, "Folders that hold bundles");
        _app->add_flag("--json", _asJson, "Prints JSON, for programs");
    }

    void run() override {
        std::vector<BundleListing> listings;
        std::string unreadable;
        const bool isDefault = _folders.empty();
        for (const std::string &folder : isDefault ? Places::wallpaperFolders() : _folders) {
            const auto found = BundleListing::readFolder(folder);
            if (found) {
                listings.insert(listings.end(), found->begin(), found->end());
            } else if (!isDefault && unreadable.empty()) {
                unreadable = folder;
            }
        }
        printToStandardOutput(_asJson ? json(listings) : table(listings));
        if (!unreadable.empty()) {
            throw HostError(unreadable, "cannot be read as a folder",
                            "give the folder in which the bundles are");
        }
    }

  private:
    std::vector<std::string> _folders;
    bool _asJson = false;
};

} // namespace

std::unique_ptr<Command> makeListCommand() { return std::make_unique<ListCommand>(); }

} // namespace Lumivera
