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

    /// All that a pack file holds, including what `readDatasFromFilePath` leaves out.
    struct Pack {
        struct Entry {
            std::string key;
            Bytes value;
            std::uint64_t offset; ///< Where the entry begins, in bytes from the file's start.
        };

        std::vector<Entry> entries; ///< In the file's order; a key may occur twice.
        std::int32_t count = 0;     ///< The file's own count of entries; may be negative.
        std::uint64_t end = 0;      ///< Where the last whole entry ends.
        std::string_view problem;   ///< Why the next entry could not be read; empty for none.
    };

    /// Writes 4 bytes.
    static void integer_toByte(std::int32_t value, std::uint8_t *bytes);

    /// Reads 4 bytes.
    static std::int32_t byteToInt(const std::uint8_t *bytes);

    /// Swaps and inverts the two bytes of each pair in place; its own inverse. The last of an odd
    /// number of bytes is only inverted.
    static void transformPairs(std::span<std::uint8_t> bytes);

    /// The data, transformed if `encrypt`, and a trailing byte 1 or 0 that says which.
    static Bytes encryptionDataWithData_encrypt(std::span<const std::uint8_t> data, bool encrypt);

    /// The same for a whole file. A file that cannot be read, or does not fit into memory, counts
    /// as empty: the result is the trailing byte alone.
    static Bytes encryptionDataWithContentsOfFile_encrypt(const std::string &path, bool encrypt);

    /// Drops the trailing byte, whatever its value, and transforms the rest. Empty for empty data
    /// and when there is no memory.
    static Bytes dataWithEncryptionData(std::span<const std::uint8_t> data);

    /// The entries of a pack, values as stored, up to the first that is damaged, truncated or too
    /// large for memory; none when the file cannot be read. Logs each key and each value's length.
    static Pack readPack(const std::string &path);

    /// The entries of a pack by key. A key that occurs twice has its last value.
    static Datas readDatasFromFilePath(const std::string &path);

    /// False when the file cannot be opened for writing; later errors are not reported. A key is
    /// written with as many bytes as it has UTF-16 units, so a key that is not ASCII is truncated.
    static bool saveDatas_toFilePath(const Datas &datas, const std::string &path);
};
