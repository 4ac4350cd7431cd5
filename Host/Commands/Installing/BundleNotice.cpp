#include "Host/Commands/Installing/BundleNotice.h"

#include "Host/Support/HostError.h"

#include <array>
#include <cstdio>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr std::uint64_t kKilo = 1024;

constexpr const char *kAboutCode =
    "\n           Code runs in a process that may only draw, but install it only if\n"
    "           you trust its maker";

std::string sizeText(std::uint64_t bytes) {
    std::array<char, 32> text;
    const auto number = static_cast<double>(bytes);
    if (bytes < kKilo * kKilo) {
        std::snprintf(text.data(), text.size(), "%.1f KiB", number / kKilo);
    } else {
        std::snprintf(text.data(), text.size(), "%.1f MiB", number / kKilo / kKilo);
    }
    return text.data();
}

} // namespace

std::string BundleNotice::installing(const BundleContents &bundle, const std::string &source,
                                     const std::string &target, bool isUpdate) {
    const auto said = [](const std::string &text) {
        return text.empty() ? "not named" : shortened(text) + ", says its description";
    };
    return shortened(bundle.title()) + "\n  Author:  " + said(bundle.author()) +
           "\n  Licence: " + said(bundle.license()) + "\n  From:    " + inOneLine(source) +
           ownerOf(source) + "\n  Holds:   " + contentsText(bundle) +
           (bundle.code().empty() ? "" : kAboutCode) + "\n  Goes to: " + inOneLine(target) +
           (isUpdate ? ", in place of the one that is installed" : "") + "\n";
}

std::string BundleNotice::contentsText(const BundleContents &bundle) {
    const std::size_t count = bundle.files().size();
    const std::vector<std::string> code = bundle.code();
    std::string text = std::to_string(count) + (count == 1 ? " file, " : " files, ") +
                       sizeText(bundle.byteCount());
    if (code.empty()) {
        return text + ", no code";
    }
    text += ", with code of its own: " + shortened(code.front());
    return code.size() == 1 ? text : text + " and " + std::to_string(code.size() - 1) + " more";
}

std::string BundleNotice::whatIsMissing(const BundleContents &bundle) {
    std::string lines;
    const auto miss = [&lines](const std::string &value, const char *key, const char *why) {
        if (value.empty()) {
            lines += std::string("its description has no \"") + key + "\"; " + why + "\n";
        }
    };
    miss(bundle.author(), "author", "others want to know whose it is");
    miss(bundle.license(), "license", "without one nobody may pass it on");
    return lines;
}

std::string BundleNotice::ownerOf(const std::string &source) {
    struct stat status;
    if (stat(source.c_str(), &status) != 0) {
        return "";
    }
    if (status.st_uid == geteuid()) {
        return ", which is yours";
    }
    const passwd *owner = getpwuid(status.st_uid);
    return ", which belongs to " +
           (owner ? inOneLine(owner->pw_name) : "user " + std::to_string(status.st_uid));
}

/// Cuts between two characters.
std::string BundleNotice::shortened(const std::string &text) {
    if (text.size() <= kMaxShownBytes) {
        return inOneLine(text);
    }
    std::size_t end = kMaxShownBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) {
        --end;
    }
    return inOneLine(text.substr(0, end)) + "…";
}

} // namespace Lumivera
