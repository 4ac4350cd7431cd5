#pragma once

#include "Host/Wallpapers/BundleContents.h"

#include <string>

namespace Lumivera {

/// What a person should know of a bundle before it is installed. The words of its description are
/// cut to a length that a screen shows, and hold no control characters.
class BundleNotice {
  public:
    BundleNotice() = delete;

    /// A line with the bundle's name, and one each for its author, its licence, who owns `source`,
    /// what is in it and where it goes, and two lines more about code.
    static std::string installing(const BundleContents &bundle, const std::string &source,
                                  const std::string &target, bool isUpdate);

    /// How many files, how large, and whether there is code.
    static std::string contentsText(const BundleContents &bundle);

    /// Lines about what a bundle for others should have; empty when it has all.
    static std::string whatIsMissing(const BundleContents &bundle);

    static constexpr std::size_t kMaxShownBytes = 120;

  private:
    static std::string ownerOf(const std::string &source);
    static std::string shortened(const std::string &text);
};

} // namespace Lumivera
