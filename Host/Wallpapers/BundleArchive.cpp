#include "Host/Wallpapers/BundleArchive.h"

#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <zip.h>

namespace Lumivera {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr const char *kTypeEntry = "mimetype";
constexpr const char *kOtherLayout = "has not the layout of a bundle in one file";
constexpr const char *kAnew = "get it again, or make it with `lumivera bundle pack`";

// Sizes of the fixed parts of a zip file.
constexpr std::size_t kHeaderBytes = 30;
constexpr std::size_t kListEntryBytes = 46;
constexpr std::size_t kEndBytes = 22;
constexpr std::size_t kLargeEndBytes = 20;
constexpr std::size_t kMaxCommentBytes = 65535;

constexpr std::string_view kListEntryMark("PK\1\2", 4);
constexpr std::string_view kEndMark("PK\5\6", 4);
constexpr std::string_view kLargeEndMark("PK\6\7", 4);

/// Every entry gets the same time, 1980-01-01 00:00, and the same permissions.
constexpr zip_uint16_t kDay = 0x21;
constexpr zip_uint32_t kPermissions = (S_IFREG | 0644U) << 16;
constexpr zip_uint32_t kLevel = 6;

std::uint32_t numberAt(Bytes bytes, std::size_t offset, int count) {
    std::uint32_t number = 0;
    for (int i = count - 1; i >= 0; --i) {
        number = number << 8 | bytes[offset + static_cast<std::size_t>(i)];
    }
    return number;
}

bool hasMarkAt(Bytes bytes, std::size_t offset, std::string_view mark) {
    return std::equal(
        mark.begin(), mark.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset),
        [](char c, std::uint8_t byte) { return static_cast<std::uint8_t>(c) == byte; });
}

class ZipError {
  public:
    ZipError() { zip_error_init(&_error); }
    ~ZipError() { zip_error_fini(&_error); }
    ZipError(const ZipError &) = delete;
    ZipError &operator=(const ZipError &) = delete;

    zip_error_t *get() { return &_error; }
    std::string text() { return zip_error_strerror(&_error); }
    int code() const { return zip_error_code_zip(&_error); }

  private:
    zip_error_t _error;
};

struct ZipDiscarder {
    void operator()(zip_t *zip) const { zip_discard(zip); }
};
using ZipPointer = std::unique_ptr<zip_t, ZipDiscarder>;

struct SourceFreer {
    void operator()(zip_source_t *source) const { zip_source_free(source); }
};
using SourcePointer = std::unique_ptr<zip_source_t, SourceFreer>;

/// A source that reads bytes, which must outlive it; or one to write to, without any.
SourcePointer sourceOf(Bytes bytes) {
    SourcePointer source(zip_source_buffer_create(bytes.data(), bytes.size(), 0, nullptr));
    if (!source) {
        throw std::bad_alloc();
    }
    return source;
}

/// Reads and checks one archive.
class Reader {
  public:
    Reader(Bytes bytes, const std::string &path) : _bytes(bytes), _path(path) {}

    BundleContents read() {
        checkEnd();
        checkList();
        open();
        readEntries();
        checkSizes();
        readType();
        std::vector<BundleContents::File> files;
        for (zip_uint64_t i = 1; i < _entries.size(); ++i) {
            if (_entries[i].name.ends_with('/')) {
                continue;
            }
            files.push_back({_entries[i].name.substr(_folder.size() + 1), contentsOf(i)});
        }
        return {_path, _folder, std::move(files)};
    }

  private:
    struct Entry {
        std::string name;
        std::uint64_t size;
    };

    [[noreturn]] void fail(const std::string &problem, const char *advice = kAnew) const {
        throw HostError(_path, problem, advice);
    }

    [[noreturn]] void failAt(const std::string &name, const std::string &problem) const {
        fail("the entry \"" + name + "\" " + problem);
    }

    /// Looks at the end of the file before the library does, which would otherwise take as much
    /// memory as the file asks for, and as much time as there are different ends in it.
    void checkEnd() {
        if (_bytes.size() < kEndBytes || !hasMarkAt(_bytes, _bytes.size() - kEndBytes, kEndMark)) {
            fail("is no bundle in one file, or is cut short");
        }
        const std::size_t end = _bytes.size() - kEndBytes;
        const std::uint32_t listBytes = numberAt(_bytes, end + 12, 4);
        const bool isOneDisk = numberAt(_bytes, end + 4, 4) == 0;
        _listOffset = numberAt(_bytes, end + 16, 4);
        if (!isOneDisk || std::uint64_t{_listOffset} + listBytes != end || hasOtherEnd()) {
            fail(kOtherLayout);
        }
        if (listBytes > kMaxList || numberAt(_bytes, end + 10, 2) > kMaxEntries) {
            fail("holds more files than a bundle may have");
        }
    }

    /// The entries follow one another without gaps, so that none lies within another, and their
    /// names hold no zeros, which the library would replace.
    void checkList() const {
        const std::size_t end = _bytes.size() - kEndBytes;
        std::uint64_t place = 0;
        std::size_t count = 0;
        for (std::size_t at = _listOffset; at < end; ++count) {
            if (end - at < kListEntryBytes || !hasMarkAt(_bytes, at, kListEntryMark)) {
                fail(kOtherLayout);
            }
            const std::size_t nameBytes = numberAt(_bytes, at + 28, 2);
            const bool hasMore = numberAt(_bytes, at + 30, 4) != 0; // extra fields or a comment
            if (hasMore || end - at - kListEntryBytes < nameBytes ||
                numberAt(_bytes, at + 42, 4) != place) {
                fail(kOtherLayout);
            }
            const Bytes name = _bytes.subspan(at + kListEntryBytes, nameBytes);
            if (std::find(name.begin(), name.end(), 0) != name.end()) {
                fail("has an entry with a zero in its name");
            }
            place += kHeaderBytes + nameBytes + numberAt(_bytes, at + 20, 4);
            at += kListEntryBytes + nameBytes;
        }
        if (place != _listOffset || count != numberAt(_bytes, end + 10, 2)) {
            fail(kOtherLayout);
        }
    }

    /// True when another place could be taken for the end: one that counts the rest of the file as
    /// its comment, or one for larger files.
    bool hasOtherEnd() const {
        const std::size_t end = _bytes.size() - kEndBytes;
        if (end >= kLargeEndBytes && hasMarkAt(_bytes, end - kLargeEndBytes, kLargeEndMark)) {
            return true;
        }
        for (std::size_t at = end > kMaxCommentBytes ? end - kMaxCommentBytes : 0; at < end; ++at) {
            const std::size_t rest = _bytes.size() - at - kEndBytes;
            if (hasMarkAt(_bytes, at, kEndMark) && numberAt(_bytes, at + 20, 2) == rest) {
                return true;
            }
        }
        return false;
    }

    void open() {
        ZipError error;
        SourcePointer source = sourceOf(_bytes);
        _zip.reset(zip_open_from_source(source.get(), ZIP_RDONLY | ZIP_CHECKCONS, error.get()));
        if (!_zip) {
            fail(error.code() == ZIP_ER_EXISTS ? "has two entries of one name"
                                               : "is damaged: " + error.text());
        }
        static_cast<void>(source.release()); // belongs to the archive from now on
    }

    void readEntries() {
        const zip_int64_t count = zip_get_num_entries(_zip.get(), 0);
        if (count < 2 || count > static_cast<zip_int64_t>(kMaxEntries)) {
            fail("has no files or too many");
        }
        for (zip_uint64_t i = 0; i < static_cast<zip_uint64_t>(count); ++i) {
            zip_stat_t status;
            const char *name = zip_get_name(_zip.get(), i, ZIP_FL_ENC_RAW);
            if (!name || zip_stat_index(_zip.get(), i, 0, &status) != 0) {
                fail("is damaged: " + std::string(zip_strerror(_zip.get())));
            }
            checkKind(i, name, status);
            _entries.push_back({name, status.size});
            if (i > 0) {
                checkPlace(name);
            }
        }
    }

    void checkKind(zip_uint64_t index, const std::string &name, const zip_stat_t &status) const {
        constexpr zip_uint64_t kNeeded =
            ZIP_STAT_SIZE | ZIP_STAT_COMP_METHOD | ZIP_STAT_ENCRYPTION_METHOD;
        zip_uint8_t system = 0;
        zip_uint32_t attributes = 0;
        if ((status.valid & kNeeded) != kNeeded ||
            zip_file_get_external_attributes(_zip.get(), index, 0, &system, &attributes) != 0) {
            failAt(name, "is damaged");
        }
        if (status.encryption_method != ZIP_EM_NONE) {
            failAt(name, "is encrypted");
        }
        if (status.comp_method != ZIP_CM_STORE && status.comp_method != ZIP_CM_DEFLATE) {
            failAt(name, "is packed in an unusual way");
        }
        const zip_uint32_t kind = attributes >> 16 & S_IFMT;
        const bool isFolder = name.ends_with('/');
        if (kind != 0 && kind != (isFolder ? S_IFDIR : S_IFREG)) {
            failAt(name, S_ISLNK(kind) ? "is a link" : "is neither a file nor a folder");
        }
        if (isFolder && status.size != 0) {
            failAt(name, "is a folder with contents");
        }
    }

    /// Finds the bundle's folder, in which all entries must be.
    void checkPlace(const std::string &name) {
        const std::string path = name.ends_with('/') ? name.substr(0, name.size() - 1) : name;
        const std::string problem = BundleContents::problemOfPath(path);
        if (!problem.empty()) {
            failAt(name, problem);
        }
        const std::string folder = name.substr(0, name.find('/'));
        if (_folder.empty()) {
            _folder = folder;
        }
        if (folder == name || folder != _folder) {
            failAt(name, "lies beside the bundle's folder");
        }
    }

    void checkSizes() const {
        std::uint64_t size = 0;
        for (const Entry &entry : _entries) {
            if (entry.size > BundleContents::kMaxBytes) {
                failAt(entry.name, "is too large for a bundle");
            }
            size += entry.size;
        }
        if (size > BundleContents::kMaxBytes) {
            fail("would unpack to more than " + std::to_string(BundleContents::kMaxBytes >> 20) +
                 " MiB, which no bundle may have");
        }
        if (size > BundleArchive::kUnsuspiciousBytes &&
            size / BundleArchive::kMaxRatio > _bytes.size()) {
            fail("would unpack to more than " + std::to_string(BundleArchive::kMaxRatio) +
                 " times its size, which no pictures do");
        }
    }

    void readType() const {
        const std::vector<std::uint8_t> type =
            _entries.front().name == kTypeEntry && _entries.front().size < kMaxTypeBytes
                ? contentsOf(0)
                : std::vector<std::uint8_t>();
        if (std::string(type.begin(), type.end()) != BundleArchive::kType) {
            fail("is a zip file, but no bundle in one file");
        }
    }

    /// Unpacks one entry. It must have exactly the size that the list says, and its checksum.
    std::vector<std::uint8_t> contentsOf(zip_uint64_t index) const {
        const Entry &entry = _entries[index];
        const std::unique_ptr<zip_file_t, int (*)(zip_file_t *)> file(
            zip_fopen_index(_zip.get(), index, 0), zip_fclose);
        if (!file) {
            failAt(entry.name, "cannot be unpacked: " + std::string(zip_strerror(_zip.get())));
        }
        std::vector<std::uint8_t> bytes(entry.size);
        std::size_t done = 0;
        zip_int64_t count = 0;
        while (done < bytes.size() &&
               (count = zip_fread(file.get(), bytes.data() + done, bytes.size() - done)) > 0) {
            done += static_cast<std::size_t>(count);
        }
        std::uint8_t next = 0;
        const zip_int64_t more = count < 0 ? count : zip_fread(file.get(), &next, 1);
        if (more < 0) {
            failAt(entry.name, "is damaged: " + std::string(zip_file_strerror(file.get())));
        }
        if (done != bytes.size() || more > 0) {
            failAt(entry.name, "has not the size that the list says");
        }
        return bytes;
    }

    static constexpr std::size_t kMaxEntries = BundleContents::kMaxFiles + 1;
    static constexpr std::size_t kMaxTypeBytes = 100;
    static constexpr std::uint32_t kMaxList = BundleArchive::kMaxListBytes;

    const Bytes _bytes;
    const std::string _path;
    std::uint32_t _listOffset = 0;
    ZipPointer _zip;
    std::vector<Entry> _entries;

    /// The name of the bundle's folder.
    std::string _folder;
};

/// Makes one archive.
class Writer {
  public:
    Writer() : _target(sourceOf({})) {
        ZipError error;
        _zip.reset(zip_open_from_source(_target.get(), ZIP_TRUNCATE, error.get()));
        if (!_zip) {
            throw std::bad_alloc();
        }
        zip_source_keep(_target.get()); // the archive gives up its own reference when it is closed
    }

    void add(const std::string &name, Bytes bytes, zip_int32_t method) {
        SourcePointer source(zip_source_buffer(_zip.get(), bytes.data(), bytes.size(), 0));
        const zip_int64_t index =
            source ? zip_file_add(_zip.get(), name.c_str(), source.get(), ZIP_FL_ENC_UTF_8) : -1;
        if (index < 0) {
            throw std::bad_alloc();
        }
        static_cast<void>(source.release());
        const auto entry = static_cast<zip_uint64_t>(index);
        zip_set_file_compression(_zip.get(), entry, method, kLevel);
        zip_file_set_dostime(_zip.get(), entry, 0, kDay, 0);
        zip_file_set_external_attributes(_zip.get(), entry, 0, ZIP_OPSYS_UNIX, kPermissions);
    }

    /// Nothing when the archive cannot be made.
    std::optional<std::vector<std::uint8_t>> finish() {
        if (zip_close(_zip.get()) != 0) {
            return std::nullopt;
        }
        static_cast<void>(_zip.release());
        zip_stat_t status;
        if (zip_source_stat(_target.get(), &status) != 0 || zip_source_open(_target.get()) != 0) {
            return std::nullopt;
        }
        std::vector<std::uint8_t> bytes(status.size);
        const zip_int64_t count = zip_source_read(_target.get(), bytes.data(), bytes.size());
        zip_source_close(_target.get());
        const bool isWhole = count == static_cast<zip_int64_t>(bytes.size());
        return isWhole ? std::optional(std::move(bytes)) : std::nullopt;
    }

  private:
    const SourcePointer _target;
    ZipPointer _zip;
};

Bytes bytesOfText(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()};
}

/// Nothing when the archive cannot be made.
std::optional<std::vector<std::uint8_t>> packed(const BundleContents &bundle) {
    Writer writer;
    writer.add(kTypeEntry, bytesOfText(BundleArchive::kType), ZIP_CM_STORE);
    for (const BundleContents::File &file : bundle.files()) {
        writer.add(bundle.name() + "/" + file.path, file.bytes, ZIP_CM_DEFLATE);
    }
    return writer.finish();
}

} // namespace

BundleContents BundleArchive::read(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        throw HostError(path, "cannot be read: " + systemErrorText(), "check the name");
    }
    if (!S_ISREG(status.st_mode)) {
        throw HostError(path, "is no file", "give a file that `lumivera bundle pack` has made");
    }
    if (static_cast<std::uint64_t>(status.st_size) > kMaxBytes) {
        throw HostError(path, "is larger than a bundle may be", kAnew);
    }
    const auto bytes = readFile(path, kMaxBytes);
    if (!bytes) {
        throw HostError(path, "cannot be read", "check its permissions");
    }
    return parse(*bytes, path);
}

BundleContents BundleArchive::parse(std::span<const std::uint8_t> bytes, const std::string &path) {
    return Reader(bytes, path).read();
}

std::vector<std::uint8_t> BundleArchive::bytesOf(const BundleContents &bundle,
                                                 const std::string &path) {
    auto bytes = packed(bundle);
    if (!bytes) {
        throw HostError(path, "cannot be made", "see whether there is enough memory");
    }
    // What nobody could install must not leave its maker.
    static_cast<void>(parse(*bytes, path));
    return std::move(*bytes);
}

} // namespace Lumivera
