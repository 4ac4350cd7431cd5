#include "Host/Wallpapers/LibraryNeeds.h"

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <link.h>
#include <optional>
#include <sstream>
#include <string_view>

namespace Lumivera {

namespace {

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);
using Entry = ElfW(Dyn);
using Note = ElfW(Nhdr);

constexpr unsigned char kClass = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
constexpr std::uint32_t kInterfaceNote = 1;
constexpr std::string_view kNoteName("Lumivera", 9);

class Reader {
  public:
    explicit Reader(const LibraryNeeds::Source &source) : _source(source) {}

    LibraryNeeds read() {
        LibraryNeeds needs;
        if (!readSegments()) {
            return needs;
        }
        needs.kitInterface = interfaceInNotes();
        if (!readEntries()) {
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

    std::optional<std::uint32_t> interfaceInNotes() const {
        for (const Segment &segment : _segments) {
            if (segment.p_type != PT_NOTE) {
                continue;
            }
            std::string notes(std::min<std::uint64_t>(segment.p_filesz, LibraryNeeds::kMaxNotes),
                              '\0');
            if (_source(segment.p_offset, notes.data(), notes.size())) {
                if (const auto number = interfaceIn(notes, segment.p_align == 8 ? 8 : 4)) {
                    return number;
                }
            }
        }
        return std::nullopt;
    }

    /// Each part of a note ends at a multiple of the alignment.
    static std::optional<std::uint32_t> interfaceIn(std::string_view notes,
                                                    std::uint64_t alignment) {
        const auto aligned = [&](std::uint64_t size) {
            return (size + alignment - 1) / alignment * alignment;
        };
        Note note;
        while (notes.size() >= sizeof note) {
            std::memcpy(&note, notes.data(), sizeof note);
            const std::uint64_t contentsAt = aligned(sizeof note + std::uint64_t{note.n_namesz});
            const std::uint64_t end = contentsAt + note.n_descsz;
            if (end > notes.size()) {
                break;
            }
            std::uint32_t number = 0;
            if (note.n_type == kInterfaceNote && note.n_descsz == sizeof number &&
                notes.substr(sizeof note, note.n_namesz) == kNoteName) {
                std::memcpy(&number, notes.data() + contentsAt, sizeof number);
                return number;
            }
            notes.remove_prefix(std::min<std::uint64_t>(aligned(end), notes.size()));
        }
        return std::nullopt;
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
