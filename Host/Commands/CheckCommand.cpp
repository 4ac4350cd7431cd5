#include "Host/Commands/Command.h"

#include "Host/Desktop/Isolation/CodeRules.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/Rules/BundleRules.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>

namespace Lumivera {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char *kHelp = "Checks a wallpaper: its files, its pictures, its code.";

constexpr const char *kMore =
    "Each line says how grave it is (wrong, doubtful or advice), where it is, what is the matter,\n"
    "what helps, and the rule that found it. --list shows the rules. Code runs in processes that\n"
    "may only draw, as behind the desktop. The exit status is 1 when something is wrong.";

constexpr const char *kSubject = "check";

/// The rules after so many that the code has failed are not tried: each failure may take long.
constexpr std::size_t kMaxFailures = 4;

constexpr unsigned kMaxSeed = 99'999;

std::vector<std::string> allNames() {
    std::vector<std::string> names;
    for (const BundleRule &rule : bundleRules()) {
        names.emplace_back(rule.name);
    }
    for (const CodeRule &rule : codeRules()) {
        names.emplace_back(rule.name);
    }
    return names;
}

/// What was found in one bundle.
struct Findings {
    std::string path;
    Remarks remarks;

    /// The rules that were applied.
    std::vector<std::string> rules;

    std::size_t count(Degree degree) const {
        return static_cast<std::size_t>(
            std::count_if(remarks.begin(), remarks.end(),
                          [degree](const Remark &remark) { return remark.degree == degree; }));
    }
};

/// "3 wrong, 1 doubtful"; "in order" for none.
std::string summaryOf(const Findings &findings) {
    std::string text;
    for (const Degree degree : {Degree::Wrong, Degree::Doubtful, Degree::Advice}) {
        if (const std::size_t count = findings.count(degree)) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " +
                    std::string(nameOf(degree));
        }
    }
    return text.empty() ? "in order" : text;
}

/// lumivera check: what is wrong with bundles, what looks so, and what could be better.
class CheckCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    void checkNames() const;
    bool isWanted(std::string_view rule) const;
    Findings examine(const std::string &path) const;
    void examineCode(const CodeUnderCheck &code, Findings &findings) const;
    std::string text(const Findings &findings) const;
    std::string json(const std::vector<Findings> &all) const;

    std::vector<std::string> _bundles;
    std::vector<std::string> _only;
    std::optional<unsigned> _seed;
    bool _asJson = false;
    bool _listsRules = false;
    bool _trusts = false;
    unsigned _usedSeed = 0;
};

void CheckCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand(kSubject, kHelp);
    _app->footer(kMore);
    _app->add_option("BUNDLE", _bundles, "Bundles' folders, or names of installed ones");
    _app->add_option("--only", _only, "Applies this rule alone; may be given again")
        ->type_name("RULE")
        ->allow_extra_args(false);
    _app->add_option("--seed", _seed, "Repeats the random events of another check")->type_name("N");
    _app->add_flag("--list", _listsRules, "Lists the rules");
    _app->add_flag("--json", _asJson, "Prints JSON, for programs");
    _app->add_flag("--trust", _trusts, "Runs the bundle's own library even if others can write it");
}

std::string rulesText() {
    std::vector<std::vector<std::string>> rows;
    for (const BundleRule &rule : bundleRules()) {
        rows.push_back({std::string(rule.name), "files", std::string(rule.words)});
    }
    for (const CodeRule &rule : codeRules()) {
        rows.push_back({std::string(rule.name), "code", std::string(rule.words)});
    }
    return textTable(rows);
}

std::string rulesJson() {
    Json rules = Json::array();
    for (const BundleRule &rule : bundleRules()) {
        rules.push_back({{"name", rule.name}, {"of", "files"}, {"words", rule.words}});
    }
    for (const CodeRule &rule : codeRules()) {
        rules.push_back({{"name", rule.name}, {"of", "code"}, {"words", rule.words}});
    }
    return rules.dump(2) + "\n";
}

void CheckCommand::run() {
    checkNames();
    if (_listsRules) {
        printToStandardOutput(_asJson ? rulesJson() : rulesText());
        return;
    }
    if (_bundles.empty()) {
        throw UsageError(kSubject, "has nothing to check", "name a bundle");
    }
    // Few digits are easily typed again.
    _usedSeed = _seed.value_or(static_cast<unsigned>(std::time(nullptr)) % kMaxSeed + 1);
    std::vector<Findings> all;
    std::vector<std::string> failed;
    for (const std::string &bundle : _bundles) {
        all.push_back(examine(Places::requireBundle(bundle)));
        if (all.back().count(Degree::Wrong) > 0) {
            failed.push_back(all.back().path);
        }
        if (!_asJson) {
            printToStandardOutput(text(all.back()));
        }
    }
    if (_asJson) {
        printToStandardOutput(json(all));
    }
    if (!failed.empty()) {
        const std::string others =
            failed.size() == 1 ? "" : " and " + std::to_string(failed.size() - 1) + " more";
        throw HostError(failed[0] + others, "something is wrong", "see the lines above");
    }
}

void CheckCommand::checkNames() const {
    const std::vector<std::string> names = allNames();
    for (const std::string &rule : _only) {
        if (std::find(names.begin(), names.end(), rule) == names.end()) {
            const std::string nearest = nearestOf(rule, names);
            throw UsageError("--only " + rule, "there is no such rule",
                             nearest.empty() ? "see `lumivera check --list`"
                                             : "do you mean " + nearest + "?");
        }
    }
}

bool CheckCommand::isWanted(std::string_view rule) const {
    return _only.empty() || std::find(_only.begin(), _only.end(), rule) != _only.end();
}

Findings CheckCommand::examine(const std::string &path) const {
    const auto trust = _trusts ? BundleFolder::Trust::Anybody : BundleFolder::Trust::UserAndRoot;
    std::error_code error;
    const CheckedBundle bundle(std::filesystem::absolute(path, error).lexically_normal().string(),
                               trust);
    Findings findings{bundle.path(), {}, {}};
    ProgressBar progress("Files", bundleRules().size());
    std::size_t done = 0;
    for (const BundleRule &rule : bundleRules()) {
        if (isWanted(rule.name)) {
            findings.rules.emplace_back(rule.name);
            rule.check(bundle, Reporter(rule.name, findings.remarks));
        }
        progress.update(++done);
    }
    const std::string library = bundle.text("name Library");
    if (!library.empty() && bundle.problem().empty()) {
        // As processes name it in their failures.
        const std::string folder = std::filesystem::weakly_canonical(bundle.path(), error).string();
        examineCode({folder, library, _trusts, _usedSeed}, findings);
    }
    return findings;
}

/// A failure that was found already is not told again.
void CheckCommand::examineCode(const CodeUnderCheck &code, Findings &findings) const {
    ProgressBar progress("Code", codeRules().size());
    std::set<std::string> told;
    std::size_t failures = 0;
    std::size_t done = 0;
    for (const CodeRule &rule : codeRules()) {
        progress.update(done++);
        if (!isWanted(rule.name)) {
            continue;
        }
        Remarks remarks;
        const Reporter report(rule.name, remarks);
        rule.check(code, report);
        findings.rules.emplace_back(rule.name);
        const bool isBad = std::any_of(remarks.begin(), remarks.end(), [](const Remark &remark) {
            return remark.degree == Degree::Wrong;
        });
        failures += isBad ? 1 : 0;
        const bool isLast = isBad && (rule.isFirst || failures == kMaxFailures);
        if (isLast && _only.empty() && done < codeRules().size()) {
            report.advise(code.library, "the rules on code after this one were not applied",
                          "mend this first");
        }
        std::erase_if(remarks, [&told](const Remark &remark) {
            return !told.insert(std::string(nameOf(remark.degree)) + remark.line()).second;
        });
        findings.remarks.insert(findings.remarks.end(), remarks.begin(), remarks.end());
        if (isLast) {
            break;
        }
    }
}

std::string CheckCommand::text(const Findings &findings) const {
    std::string text = inOneLine(findings.path) + ": " + summaryOf(findings) + " (seed " +
                       std::to_string(_usedSeed) + ")\n";
    for (const Degree degree : {Degree::Wrong, Degree::Doubtful, Degree::Advice}) {
        for (const Remark &remark : findings.remarks) {
            if (remark.degree == degree) {
                std::string name(nameOf(degree));
                name.resize(nameOf(Degree::Doubtful).size(), ' ');
                text += "  " + name + "  " + inOneLine(remark.line()) + "  [" + remark.rule + "]\n";
            }
        }
    }
    return text;
}

std::string CheckCommand::json(const std::vector<Findings> &all) const {
    Json document;
    document["seed"] = _usedSeed;
    document["bundles"] = Json::array();
    for (const Findings &findings : all) {
        Json remarks = Json::array();
        for (const Remark &remark : findings.remarks) {
            remarks.push_back({{"degree", nameOf(remark.degree)},
                               {"rule", remark.rule},
                               {"subject", remark.subject},
                               {"words", remark.words},
                               {"remedy", remark.remedy}});
        }
        document["bundles"].push_back({{"path", findings.path},
                                       {"wrong", findings.count(Degree::Wrong)},
                                       {"doubtful", findings.count(Degree::Doubtful)},
                                       {"advice", findings.count(Degree::Advice)},
                                       {"rules", findings.rules},
                                       {"remarks", remarks}});
    }
    return safeJson(document.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

} // namespace

std::unique_ptr<Command> makeCheckCommand() { return std::make_unique<CheckCommand>(); }

} // namespace Lumivera
