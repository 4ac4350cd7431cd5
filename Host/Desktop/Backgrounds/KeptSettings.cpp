#include "Host/Desktop/Backgrounds/KeptSettings.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Host/Support/Patience.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Lumivera {

namespace {

constexpr const char *kFirstLine = "Lumivera: settings to give back, form 1";
constexpr const char *kLastLine = "end";
constexpr const char *kNoValue = "-";

/// Bytes that would break a line, and the sign itself, become % and two digits.
std::string escaped(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f || c == '%') {
            result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            result += c;
        }
    }
    return result;
}

std::optional<std::string> unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        unsigned byte = 0;
        const std::string_view digits = text.substr(i + 1, 2);
        const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (digits.size() != 2 || end.ptr != digits.data() + 2) {
            return std::nullopt;
        }
        result += static_cast<char>(byte);
        i += 2;
    }
    return result;
}

std::string fieldFor(const KeptSetting::Value &value) {
    return value ? "=" + escaped(*value) : kNoValue;
}

/// False for a field that is neither.
bool readField(const std::string &field, KeptSetting::Value &value) {
    if (field == kNoValue) {
        value.reset();
        return true;
    }
    if (field.starts_with('=')) {
        value = unescaped(std::string_view(field).substr(1));
        return value.has_value();
    }
    return false;
}

bool readEntry(const std::string &line, KeptSettings::Entries &entries) {
    std::vector<std::string> fields;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, '\t');) {
        fields.push_back(field);
    }
    if (fields.size() != 4) {
        return false;
    }
    const auto key = unescaped(fields[0]);
    KeptSetting setting;
    if (!key || !readField(fields[1], setting.before) || !readField(fields[2], setting.ours) ||
        !readField(fields[3], setting.next)) {
        return false;
    }
    return entries.emplace(*key, setting).second;
}

/// A file that closes itself.
class OpenFile {
  public:
    OpenFile(const std::string &path, int flags) : _descriptor(open(path.c_str(), flags)) {}
    ~OpenFile() {
        if (_descriptor >= 0) {
            close(_descriptor);
        }
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    int descriptor() const { return _descriptor; }

  private:
    const int _descriptor;
};

void check(const std::string &path, int descriptor) {
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != geteuid() ||
        (status.st_mode & 022) != 0) {
        throw HostError(path, "is not a file that only this user can write",
                        "remove it, and choose your wallpaper in the desktop's settings");
    }
}

std::string readAll(int descriptor) {
    std::string text(KeptSettings::kMaxBytes + 1, '\0');
    std::size_t size = 0;
    ssize_t count = 0;
    while (size < text.size() &&
           ((count = ::read(descriptor, text.data() + size, text.size() - size)) > 0 ||
            (count < 0 && errno == EINTR))) {
        size += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    text.resize(size);
    return text;
}

/// The rename that gave a file its name is on the disk when its folder is.
void bringToDisk(const std::string &path) {
    const std::string folder = path.substr(0, path.rfind('/'));
    for (const std::string &part : {path, folder}) {
        const OpenFile file(part, O_RDONLY | O_CLOEXEC);
        if (file.descriptor() >= 0) {
            fsync(file.descriptor());
        }
    }
}

} // namespace

bool KeptSetting::isOurs(const Value &present) const {
    const bool isSet = present && (present == ours || present == next);
    return isSet || (!ours && present == before);
}

bool KeptSettings::isSaved() const {
    return Patience::resultOf<bool>([path = _path] {
               struct stat status;
               return lstat(path.c_str(), &status) == 0;
           })
        .value_or(true);
}

void KeptSettings::load() {
    _entries.clear();
    const auto entries = Patience::resultOf<Entries>([path = _path] { return read(path); });
    if (!entries) {
        throw HostError(_path, "cannot be read: its file system does not answer");
    }
    _entries = *entries;
}

/// None without the file.
KeptSettings::Entries KeptSettings::read(const std::string &path) {
    const OpenFile file(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file.descriptor() < 0) {
        if (errno == ENOENT) {
            return {};
        }
        throw HostError(path, "cannot be read: " + systemErrorText(), "check its permissions");
    }
    check(path, file.descriptor());
    const auto entries = parse(readAll(file.descriptor()));
    if (!entries) {
        const std::string name = path + ".broken";
        std::rename(path.c_str(), name.c_str());
        throw HostError(path, "is damaged, and is called " + name + " now",
                        "choose your wallpaper in the desktop's settings");
    }
    return *entries;
}

void KeptSettings::save() const {
    const std::string text = _entries.empty() ? "" : textOf(_entries);
    if (!Patience::finish([path = _path, text] { write(path, text); })) {
        throw HostError(_path, "cannot be written: its file system does not answer");
    }
}

void KeptSettings::write(const std::string &path, const std::string &text) {
    if (text.empty()) {
        if (unlink(path.c_str()) != 0 && errno != ENOENT) {
            throw HostError(path, "cannot be removed: " + systemErrorText(),
                            "check the permissions of its folder");
        }
        return;
    }
    OutputFile file(path, OutputFile::Mode::RegularFile);
    file.restrictToUser();
    file.write(text);
    file.commit();
    bringToDisk(path);
}

std::string KeptSettings::textOf(const Entries &entries) {
    std::string text = std::string(kFirstLine) + "\n";
    for (const auto &[key, setting] : entries) {
        text += escaped(key) + "\t" + fieldFor(setting.before) + "\t" + fieldFor(setting.ours) +
                "\t" + fieldFor(setting.next) + "\n";
    }
    return text + kLastLine + "\n";
}

std::optional<KeptSettings::Entries> KeptSettings::parse(const std::string &text) {
    std::istringstream stream(text);
    std::string line;
    Entries entries;
    if (text.size() > kMaxBytes || !std::getline(stream, line) || line != kFirstLine) {
        return std::nullopt;
    }
    while (std::getline(stream, line) && line != kLastLine) {
        if (!readEntry(line, entries)) {
            return std::nullopt;
        }
    }
    return line == kLastLine ? std::optional(entries) : std::nullopt;
}

} // namespace Lumivera
