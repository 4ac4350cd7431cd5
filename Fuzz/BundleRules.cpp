// Whatever a bundle holds, the rules on its files say little about it, in short words; what they
// find wrong includes what the host refuses, and what lists mark.
//
// The input is the names of files, one a line, an empty line, and the description. A name's first
// letter says what the file holds.

#include "Host/Wallpapers/Rules/BundleRules.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;
using namespace Lumivera;

constexpr std::size_t kMaxFiles = 40;
constexpr std::size_t kMaxName = 255;
constexpr std::size_t kMaxLine = 1200;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// A folder for one bundle after the other.
class Folder {
  public:
    Folder() {
        std::string pattern = fs::temp_directory_path() / "lumivera-fuzz-XXXXXX";
        require(mkdtemp(pattern.data()) != nullptr);
        _parent = pattern;
    }

    ~Folder() { fs::remove_all(_parent); }

    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::string makeBundle() const {
        const std::string path = _parent + "/Made.bundle";
        fs::remove_all(path);
        fs::create_directory(path);
        return path;
    }

  private:
    std::string _parent;
};

void write(const std::string &path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// A small picture whose pixels are all the same, but for one.
std::string pictureOf(std::uint32_t pixel) {
    std::array<std::uint32_t, 64> pixels;
    pixels.fill(pixel);
    pixels[27] = 0xff804020;
    const auto bytes = encodePNG(pixels.data(), 8, 8, 8, 1);
    return {bytes.begin(), bytes.end()};
}

void make(const std::string &path, char kind) {
    static const std::string clear = pictureOf(0);
    static const std::string opaque = pictureOf(0xff000000);
    std::error_code ignored;
    switch (kind) {
    case 'p':
        return write(path, clear);
    case 'o':
        return write(path, opaque);
    case 'd':
        return write(path, std::string_view(clear).substr(0, clear.size() / 2));
    case 'n':
        return write(path, std::string_view("\0\0\0\1\0\0\0\1a\0\0\0\1b", 14));
    case 'f':
        fs::create_directory(path, ignored);
        return;
    case 'l':
        fs::create_symlink("/nowhere", path, ignored);
        return;
    default:
        return write(path, "");
    }
}

void makeFiles(const std::string &bundle, std::string_view names) {
    for (std::size_t i = 0; i < kMaxFiles && !names.empty(); ++i) {
        const std::size_t end = std::min(names.find('\n'), names.size());
        const std::string name(names.substr(0, end).substr(std::min<std::size_t>(1, end)));
        const bool isName = !name.empty() && name != "." && name != ".." &&
                            name.size() <= kMaxName &&
                            name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
        if (isName && !fs::exists(fs::symlink_status(bundle + "/" + name))) {
            make(bundle + "/" + name, names[0]);
        }
        names.remove_prefix(std::min(end + 1, names.size()));
    }
}

Remarks remarksOn(const std::string &bundle) {
    const CheckedBundle checked(bundle, BundleFolder::Trust::Anybody);
    Remarks remarks;
    for (const BundleRule &rule : bundleRules()) {
        const std::size_t before = remarks.size();
        rule.check(checked, Reporter(rule.name, remarks));
        require(remarks.size() - before <= Reporter::kMaxRemarks + 1);
    }
    return remarks;
}

bool isAnyWrong(const Remarks &remarks, std::string_view rule = {}) {
    return std::any_of(remarks.begin(), remarks.end(), [rule](const Remark &remark) {
        return remark.degree == Degree::Wrong && (rule.empty() || remark.rule == rule);
    });
}

void checkWords(const Remarks &remarks) {
    for (const Remark &remark : remarks) {
        require(!remark.subject.empty() && !remark.words.empty());
        require(remark.line().size() <= kMaxLine);
        require(inOneLine(remark.line()).find('\n') == std::string::npos);
    }
}

/// What the host refuses is wrong, and what is not wrong is what it shows.
void checkAgainstHost(const std::string &bundle, const Remarks &remarks) {
    const BundleListing listing = BundleListing::read(bundle);
    require(listing.problem.empty() || isAnyWrong(remarks));
    if (!isAnyWrong(remarks, "ranges")) {
        require(listing.petals.value_or(0) >= 0 && listing.petals.value_or(0) <= 300);
        require(listing.speed.value_or(0) >= 0);
    }
    try {
        BundleDescription::read(bundle);
    } catch (const HostError &) {
        require(isAnyWrong(remarks));
    }
}

void checkAgainstLists(const std::string &bundle, const Remarks &remarks) {
    for (const Remark &mistake : cheapMistakes(bundle)) {
        require(std::any_of(remarks.begin(), remarks.end(), [&mistake](const Remark &remark) {
            return remark.degree == Degree::Wrong && remark.line() == mistake.line();
        }));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Folder folder;
    const std::string bundle = folder.makeBundle();
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    const std::size_t names = std::min(input.find("\n\n"), input.size());
    if (names < input.size()) {
        write(bundle + "/" + kDescriptionName, input.substr(names + 2));
    }
    makeFiles(bundle, input.substr(0, names));
    const Remarks remarks = remarksOn(bundle);
    checkWords(remarks);
    checkAgainstHost(bundle, remarks);
    checkAgainstLists(bundle, remarks);
    return 0;
}
