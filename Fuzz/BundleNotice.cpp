// Whatever a description says, what a person reads before a bundle is installed has as many lines
// as it should, no control characters in them, and fits on a screen.

#include "Host/Commands/Installing/BundleNotice.h"

#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace {

using namespace Lumivera;

constexpr std::ptrdiff_t kLines = 6;
constexpr std::ptrdiff_t kLinesAboutCode = 2;
constexpr std::size_t kMaxBytes = 2000;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::optional<BundleContents> bundle;
    try {
        bundle.emplace("origin", "Snow.bundle",
                       std::vector<BundleContents::File>{{"description.plist", {data, data + size}},
                                                         {"s.so", {}}});
    } catch (const HostError &) {
        return 0;
    }
    std::string text = BundleNotice::installing(*bundle, "/nowhere", "there", false);
    const std::ptrdiff_t lines = bundle->code().empty() ? kLines : kLines + kLinesAboutCode;
    require(std::count(text.begin(), text.end(), '\n') == lines && text.size() < kMaxBytes);
    std::erase(text, '\n');
    require(isValidUTF8(text) && inOneLine(text) == text);
    return 0;
}
