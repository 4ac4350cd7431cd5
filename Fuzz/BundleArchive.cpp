// A bundle in one file is either refused, or all of it can be written safely below a folder, and is
// the same after it was packed again.

#include "Host/Wallpapers/BundleArchive.h"

#include "Host/Support/HostError.h"

#include <cstdlib>
#include <optional>

namespace {

using namespace Lumivera;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool areSame(const BundleContents &left, const BundleContents &right) {
    bool same = left.name() == right.name() && left.files().size() == right.files().size();
    for (std::size_t i = 0; same && i < left.files().size(); ++i) {
        same = left.files()[i].path == right.files()[i].path &&
               left.files()[i].bytes == right.files()[i].bytes;
    }
    return same;
}

void check(const BundleContents &bundle) {
    require(BundleContents::problemOfName(bundle.name()).empty());
    require(bundle.files().size() <= BundleContents::kMaxFiles);
    require(bundle.byteCount() <= BundleContents::kMaxBytes);
    for (const BundleContents::File &file : bundle.files()) {
        require(BundleContents::problemOfPath(file.path).empty());
    }
    const auto bytes = BundleArchive::bytesOf(bundle, "again");
    require(areSame(BundleArchive::parse(bytes, "again"), bundle));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::optional<BundleContents> bundle;
    try {
        bundle = BundleArchive::parse({data, size}, "input");
    } catch (const HostError &) {
        return 0;
    }
    check(*bundle);
    return 0;
}
