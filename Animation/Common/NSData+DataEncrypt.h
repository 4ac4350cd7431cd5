#pragma once

#include "Animation/Common/WallpaperExport.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The reversible byte form of pictures in resource packs, and the pack file itself: a count of
/// entries, then for each a key and a value, each behind its length; counts and lengths are signed
/// 32-bit numbers, most significant byte first. Stateless; any thread.
class WALLPAPER_EXPORT DataEncrypt {
  public:
    using Bytes = std::vector<std::uint8_t>;
    using Datas = std::map<std::string, Bytes>;

    /// A pack as it lies in its file, for those who must know what `readDatasFromFilePath` leaves
    /// out.
    struct Pack {
        struct Entry {
            std::string key;
            Bytes value;
            std::uint64_t offset; ///< Of the key's length, in bytes from the file's start.
        };

        std::vector<Entry> entries; ///< In the file's order; a key may occur twice.
        std::int32_t count = 0;     ///< Of entries, as the file says; may be negative.
        std::uint64_t end = 0;      ///< Behind the last entry: the offset of one that is not whole.
        std::string_view problem;   ///< Why the next entry could not be read; empty for none.
    };

    /// Writes 4 bytes.
    static void integer_toByte(std::int32_t value, std::uint8_t *bytes);

    /// Reads 4 bytes.
    static std::int32_t byteToInt(const std::uint8_t *bytes);

    /// Swaps and inverts the bytes of each pair in place; its own inverse. The last byte of an odd
    /// number of bytes is inverted alone.
    static void transformPairs(std::span<std::uint8_t> bytes);

    /// The data, transformed if `encrypt`, and a trailing byte 1 or 0 that says which.
    static Bytes encryptionDataWithData_encrypt(std::span<const std::uint8_t> data, bool encrypt);

    /// The same of a whole file. One that cannot be read, or does not fit into memory, counts as
    /// empty: the result is the trailing byte alone.
    static Bytes encryptionDataWithContentsOfFile_encrypt(const std::string &path, bool encrypt);

    /// Drops the trailing byte, whatever it says, and transforms the rest. Empty for empty data and
    /// without memory.
    static Bytes dataWithEncryptionData(std::span<const std::uint8_t> data);

    /// The entries of a pack, values as they are stored, up to the first that is damaged, cut short
    /// or too large for memory; none when the file cannot be read. Logs each key and each value's
    /// length.
    static Pack readPack(const std::string &path);

    /// The same by key. A key that occurs twice keeps its last value.
    static Datas readDatasFromFilePath(const std::string &path);

    /// False when the file cannot be opened for writing; later errors go unnoticed. A key is
    /// written with as many bytes as it has UTF-16 units, so any key but an ASCII one is cut short.
    static bool saveDatas_toFilePath(const Datas &datas, const std::string &path);
};
