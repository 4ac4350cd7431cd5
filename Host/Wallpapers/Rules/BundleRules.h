#pragma once

#include "Host/Wallpapers/Rules/CheckedBundle.h"
#include "Host/Wallpapers/Rules/Remark.h"

#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

inline constexpr const char *kDescriptionName = "description.plist";

/// A rule on the files of a bundle. The rules are tables of functions, a file a subject.
struct BundleRule {
    /// What `lumivera check --only` takes.
    std::string_view name;

    /// What it looks at, for people.
    std::string_view words;

    /// It reads no more than the description and names of files, so that lists may use it.
    bool isCheap = false;

    void (*check)(const CheckedBundle &bundle, const Reporter &report) = nullptr;
};

/// Folder, links, names, leftovers, ownership and library.
std::vector<BundleRule> folderRules();

/// The description and who is named in it.
std::vector<BundleRule> descriptionRules();

/// Pictures, thumbnail and resource packs.
std::vector<BundleRule> pictureRules();

/// All of them, in that order.
const std::vector<BundleRule> &bundleRules();

/// The wrong things that the cheap rules find, for lists; nothing for a folder that cannot be read.
Remarks cheapMistakes(const std::string &path);

/// "2 mistakes, see `lumivera check`"; empty for none.
std::string textOf(const Remarks &mistakes);

/// The known text that `text` was probably meant to be: the same but for case and blanks, or with
/// few letters changed. Empty when there is none.
std::string nearestOf(std::string_view text, const std::vector<std::string> &known);

/// The text with ASCII letters in lower case.
std::string lowerCase(std::string_view text);

} // namespace Lumivera
