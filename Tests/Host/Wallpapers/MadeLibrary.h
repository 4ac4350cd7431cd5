#pragma once

#include <cstddef>
#include <cstdint>
#include <elf.h>
#include <link.h>
#include <string>
#include <vector>

/// The bytes of a shared library without code that needs these libraries and looks for them in
/// these folders, as linkers write it. `tag` is DT_RUNPATH or DT_RPATH. `notes` are the bytes of
/// its notes, each part of which ends at a multiple of `alignment`.
inline std::string madeLibrary(const std::vector<std::string> &libraries,
                               const std::string &folders, ElfW(Sxword) tag = DT_RUNPATH,
                               const std::string &notes = {}, std::size_t alignment = 4) {
    std::string texts(1, '\0');
    std::vector<ElfW(Dyn)> entries;
    const auto add = [&](ElfW(Sxword) kind, const std::string &text) {
        ElfW(Dyn) entry{};
        entry.d_tag = kind;
        entry.d_un.d_val = texts.size();
        entries.push_back(entry);
        texts += text + '\0';
    };
    for (const std::string &library : libraries) {
        add(DT_NEEDED, library);
    }
    if (!folders.empty()) {
        add(tag, folders);
    }
    constexpr std::size_t kSegments = sizeof(ElfW(Ehdr));
    constexpr std::size_t kEntries = kSegments + 3 * sizeof(ElfW(Phdr));
    const std::size_t textsAt = kEntries + (entries.size() + 3) * sizeof(ElfW(Dyn));
    for (const auto &[kind, value] : {std::pair<ElfW(Sxword), std::size_t>{DT_STRTAB, textsAt},
                                      {DT_STRSZ, texts.size()},
                                      {DT_NULL, 0}}) {
        ElfW(Dyn) entry{};
        entry.d_tag = kind;
        entry.d_un.d_val = value;
        entries.push_back(entry);
    }
    ElfW(Ehdr) header{};
    const std::string magic(ELFMAG, SELFMAG);
    std::copy(magic.begin(), magic.end(), header.e_ident);
    header.e_ident[EI_CLASS] = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
    header.e_type = ET_DYN;
    header.e_phoff = kSegments;
    header.e_phentsize = sizeof(ElfW(Phdr));
    header.e_phnum = 3;
    ElfW(Phdr) segments[3] = {};
    segments[0].p_type = PT_LOAD;
    segments[0].p_filesz = textsAt + texts.size();
    segments[1].p_type = PT_DYNAMIC;
    segments[1].p_offset = kEntries;
    segments[1].p_filesz = entries.size() * sizeof(ElfW(Dyn));
    segments[2].p_type = PT_NOTE;
    segments[2].p_offset = textsAt + texts.size();
    segments[2].p_filesz = notes.size();
    segments[2].p_align = alignment;
    std::string file(reinterpret_cast<const char *>(&header), sizeof header);
    file.append(reinterpret_cast<const char *>(segments), sizeof segments);
    file.append(reinterpret_cast<const char *>(entries.data()), entries.size() * sizeof(ElfW(Dyn)));
    return file + texts + notes;
}

/// The bytes of an ELF note. The name ends with its NUL.
inline std::string madeNote(std::string name, std::uint32_t type, std::string contents,
                            std::size_t alignment = 4) {
    const std::uint32_t numbers[] = {static_cast<std::uint32_t>(name.size()),
                                     static_cast<std::uint32_t>(contents.size()), type};
    std::string note(reinterpret_cast<const char *>(numbers), sizeof numbers);
    for (const std::string *part : {&name, &contents}) {
        note += *part;
        note.resize((note.size() + alignment - 1) / alignment * alignment);
    }
    return note;
}
