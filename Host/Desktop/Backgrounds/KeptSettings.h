#pragma once

#include <map>
#include <optional>
#include <string>

namespace Lumivera {

/// A setting of the desktop that we have changed or are about to change.
struct KeptSetting {
    using Value = std::optional<std::string>;

    /// The user's own value; nothing when it was not set.
    Value before;

    /// The value that we have set; nothing until it was seen to be set.
    Value ours;

    /// The value that we are about to set; nothing when `ours` is it.
    Value next;

    /// Whether a present value is not the user's doing: we have set it, or have not yet.
    bool isOurs(const Value &present) const;

    bool operator==(const KeptSetting &) const = default;
};

/// The settings of one desktop that have to be given back, in a file that outlives the process.
class KeptSettings {
  public:
    using Entries = std::map<std::string, KeptSetting>;

    static constexpr std::size_t kMaxBytes = std::size_t{1} << 20;

    explicit KeptSettings(std::string path) : _path(std::move(path)) {}

    const std::string &path() const { return _path; }

    /// By the keys of the settings.
    Entries &entries() { return _entries; }
    const Entries &entries() const { return _entries; }

    /// Whether there is a file.
    bool isSaved() const;

    /// Reads the file; a missing one has no entries. Throws a HostError when the file cannot be
    /// read, belongs to another user or may be written by others. A broken file gets another name
    /// and a HostError says so: there are no entries then.
    void load();

    /// Makes sure that the file is on the disk; with no entries, that there is none. Throws a
    /// HostError that names the file.
    void save() const;

    /// The form of the file: a line for each setting.
    static std::string textOf(const Entries &entries);

    /// Nothing for a text that is not whole.
    static std::optional<Entries> parse(const std::string &text);

  private:
    static Entries read(const std::string &path);
    static void write(const std::string &path, const std::string &text);

    const std::string _path;
    Entries _entries;
};

} // namespace Lumivera
