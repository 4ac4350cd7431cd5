#pragma once

#include "Animation/Common/NSData+DataEncrypt.h"

#include <string>
#include <vector>

namespace Lumivera {

/// A resource pack's entries, with their values as they are stored in it.
struct ResourcePack {
    /// In the order of the file. A name may occur twice: the last one counts.
    std::vector<DataEncrypt::Pack::Entry> entries;

    /// What is wrong with the file when it is not whole, or has entries that nobody would find; in
    /// one line, with the numbers of those entries and where they are. The entries are then those
    /// before the damage.
    std::string problem;

    /// A HostError when there is no file that can be read.
    static ResourcePack read(const std::string &path);

    /// Of the value, without the byte that says how it is stored.
    static std::size_t payloadSize(const DataEncrypt::Pack::Entry &entry);

    /// Writes the file whole or not at all; a HostError when it cannot be written, or has a key
    /// that the format would cut short.
    static void write(const DataEncrypt::Datas &entries, const std::string &path);

    /// What keeps a key out of a pack; empty when nothing does.
    static std::string problemOfKey(const std::string &key);
};

} // namespace Lumivera
