#include "Host/Wallpapers/Rules/BundleRules.h"

#include <algorithm>
#include <numeric>

namespace Lumivera {

namespace {

/// A slip changes few letters of a word.
constexpr std::size_t kMaxSlips = 2;
constexpr std::size_t kLettersASlip = 4;
constexpr std::size_t kMaxLength = 64;

std::string plain(std::string_view text) {
    std::string letters = lowerCase(text);
    std::erase_if(letters, [](char c) { return c == ' ' || c == '_' || c == '-' || c == '.'; });
    return letters;
}

/// How many letters must be changed, added or taken out.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t before = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t changed = before + (from[i] == to[j] ? 0 : 1);
            before = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

const std::vector<BundleRule> &bundleRules() {
    static const std::vector<BundleRule> rules = [] {
        std::vector<BundleRule> all;
        for (const auto table : {folderRules, descriptionRules, pictureRules}) {
            const std::vector<BundleRule> part = table();
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }();
    return rules;
}

Remarks cheapMistakes(const std::string &path) {
    const CheckedBundle bundle(path, BundleFolder::Trust::Anybody);
    Remarks remarks;
    for (const BundleRule &rule : bundleRules()) {
        if (rule.isCheap && bundle.problem().empty()) {
            rule.check(bundle, Reporter(rule.name, remarks));
        }
    }
    std::erase_if(remarks, [](const Remark &remark) { return remark.degree != Degree::Wrong; });
    return remarks;
}

std::string textOf(const Remarks &mistakes) {
    const std::string count = std::to_string(mistakes.size());
    return mistakes.empty() ? ""
                            : count + (mistakes.size() == 1 ? " mistake" : " mistakes") +
                                  ", see `lumivera check`";
}

std::string nearestOf(std::string_view text, const std::vector<std::string> &known) {
    const std::string letters = plain(text.substr(0, kMaxLength));
    std::string nearest;
    std::size_t least = std::min(kMaxSlips, letters.size() / kLettersASlip) + 1;
    for (const std::string &word : known) {
        const std::string other = plain(word);
        const std::size_t longer = std::max(letters.size(), other.size());
        const std::size_t added = longer - std::min(letters.size(), other.size());
        const std::size_t slips = added < least ? distance(letters, other) : least;
        if (slips < least) {
            least = slips;
            nearest = word;
        }
    }
    return nearest;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return lower;
}

} // namespace Lumivera
