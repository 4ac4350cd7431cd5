#include "Host/Wallpapers/LibraryNeeds.h"

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <link.h>
#include <optional>
#include <sstream>

namespace Lumivera {

namespace {

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);
using Entry = ElfW(Dyn);

constexpr unsigned char kClass = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;

class Reader {
  public:
    explicit Reader(const LibraryNeeds::Source &source) : _source(source) {}

    LibraryNeeds read() {
        LibraryNeeds needs;
        if (!readSegments() || !readEntries()) {
            return needs;
        }
        for (const Entry &entry : _entries) {
            if (entry.d_tag == DT_NEEDED) {
                needs.libraries.push_back(textAt(entry.d_un.d_val));
            } else if (entry.d_tag == DT_RPATH || entry.d_tag == DT_RUNPATH) {
                addFolders(textAt(entry.d_un.d_val), needs.folders);
            } else if (entry.d_tag == DT_FLAGS_1) {
                needs.staysLoaded = (entry.d_un.d_val & DF_1_NODELETE) != 0;
            }
        }
        return needs;
    }

  private:
    bool readSegments() {
        Header header;
        if (!_source(0, &header, sizeof header) ||
            std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
            header.e_ident[EI_CLASS] != kClass || header.e_phentsize != sizeof(Segment)) {
            return false;
        }
        _segments.resize(header.e_phnum);
        return _source(header.e_phoff, _segments.data(), _segments.size() * sizeof(Segment));
    }

    bool readEntries() {
        const auto dynamic =
            std::find_if(_segments.begin(), _segments.end(),
                         [](const Segment &segment) { return segment.p_type == PT_DYNAMIC; });
        if (dynamic == _segments.end()) {
            return false;
        }
        _entries.resize(
            std::min<std::size_t>(dynamic->p_filesz / sizeof(Entry), LibraryNeeds::kMaxEntries));
        if (!_source(dynamic->p_offset, _entries.data(), _entries.size() * sizeof(Entry))) {
            return false;
        }
        const auto end = std::find_if(_entries.begin(), _entries.end(),
                                      [](const Entry &entry) { return entry.d_tag == DT_NULL; });
        _entries.erase(end, _entries.end());
        return findTexts();
    }

    bool findTexts() {
        std::optional<std::uint64_t> address;
        for (const Entry &entry : _entries) {
            if (entry.d_tag == DT_STRTAB) {
                address = entry.d_un.d_ptr;
            } else if (entry.d_tag == DT_STRSZ) {
                _textBytes = entry.d_un.d_val;
            }
        }
        for (const Segment &segment : _segments) {
            const bool isInside = address && segment.p_type == PT_LOAD &&
                                  *address >= segment.p_vaddr &&
                                  *address - segment.p_vaddr < segment.p_filesz;
            if (isInside) {
                _texts = segment.p_offset + (*address - segment.p_vaddr);
                return true;
            }
        }
        return false;
    }

    std::string textAt(std::uint64_t offset) const {
        std::string text(std::min<std::uint64_t>(_textBytes - std::min(offset, _textBytes),
                                                 LibraryNeeds::kMaxText),
                         '\0');
        if (!_source(_texts + offset, text.data(), text.size())) {
            return {};
        }
        return text.substr(0, text.find('\0'));
    }

    /// An empty entry is the current folder.
    static void addFolders(const std::string &path, std::vector<std::string> &folders) {
        std::istringstream stream(path + ":");
        for (std::string folder; std::getline(stream, folder, ':');) {
            folders.push_back(folder);
        }
    }

    const LibraryNeeds::Source &_source;
    std::vector<Segment> _segments;
    std::vector<Entry> _entries;
    std::uint64_t _texts = 0;
    std::uint64_t _textBytes = 0;
};

} // namespace

LibraryNeeds LibraryNeeds::read(const Source &source) { return Reader(source).read(); }

} // namespace Lumivera
