#pragma once

#include "Host/Rendering/BundleTrial.h"
#include "Host/Wallpapers/Rules/Remark.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// What the rules on code run: each a sandboxed process of its own, so that one failure hides no
/// other.
struct CodeUnderCheck {
    /// The bundle's path.
    std::string bundle;

    /// Its library, for remarks.
    std::string library;

    bool isTrusted = false;

    /// Of the wallpaper's random numbers, and of taps and other events.
    unsigned seed = 0;

    /// Tests judge more time than was taken.
    double timeFactor = 1;
};

/// A rule on a bundle's code.
struct CodeRule {
    /// What `lumivera check --only` takes.
    std::string_view name;

    /// What it does, for people.
    std::string_view words;

    /// The other rules make sense only when this one holds.
    bool isFirst = false;

    /// Main thread; takes seconds. Its own failures are HostErrors.
    std::function<void(const CodeUnderCheck &code, const Reporter &report)> check;
};

/// All rules, those that the others depend on first.
const std::vector<CodeRule> &codeRules();

} // namespace Lumivera
