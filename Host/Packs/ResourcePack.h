#pragma once

#include "Animation/Common/NSData+DataEncrypt.h"

#include <string>

namespace Lumivera {

/// A resource pack's entries by key, with their values as they are stored in it.
struct ResourcePack {
    DataEncrypt::Datas entries;

    /// What is wrong with the file when it is not whole; the entries are then those before the
    /// damage.
    std::string problem;

    /// A HostError when there is no file that can be read.
    static ResourcePack read(const std::string &path);

    /// Writes the file whole or not at all; a HostError when it cannot be written, or has a key
    /// that the format would cut short.
    static void write(const DataEncrypt::Datas &entries, const std::string &path);

    /// What keeps a key out of a pack; empty when nothing does.
    static std::string problemOfKey(const std::string &key);
};

} // namespace Lumivera
