#include "Animation/Common/NSData+DataEncrypt.h"

#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kIntegerSize = 4;
constexpr std::uint64_t kAnySize = std::numeric_limits<std::ptrdiff_t>::max() - 1;

/// Reads a pack. Lengths are compared with the bytes that are left before memory is allocated.
class PackReader {
  public:
    explicit PackReader(const std::string &path) : _file(path) {}

    DataEncrypt::Pack read() {
        try {
            readEntries();
        } catch (const std::bad_alloc &) {
            fail("is too large for the memory that is free");
        }
        return std::move(_pack);
    }

  private:
    void readEntries() {
        if (!readInteger(_pack.count)) {
            return;
        }
        _pack.end = _offset;
        for (std::int32_t i = 0; i < _pack.count && readEntry(); ++i) {
            _pack.end = _offset;
        }
    }

    bool readEntry() {
        DataEncrypt::Pack::Entry entry{{}, {}, _offset};
        if (!readRecord(entry.key)) {
            return false;
        }
        if (!isValidUTF8(entry.key)) {
            return fail("has a name that is not UTF-8");
        }
        NSLog("key = " + entry.key);
        if (!readRecord(entry.value)) {
            return false;
        }
        NSLog("data length = " + std::to_string(entry.value.size()));
        _pack.entries.push_back(std::move(entry));
        return true;
    }

    /// A length and that many bytes.
    template <class Container> bool readRecord(Container &bytes) {
        std::int32_t length = 0;
        if (!readInteger(length)) {
            return false;
        }
        if (length < 0) {
            return fail("has a negative length");
        }
        if (static_cast<std::uint64_t>(length) > left()) {
            return fail("is cut short");
        }
        bytes.resize(static_cast<std::size_t>(length));
        return readBytes({reinterpret_cast<std::uint8_t *>(bytes.data()), bytes.size()});
    }

    bool readInteger(std::int32_t &value) {
        std::uint8_t bytes[kIntegerSize] = {};
        if (!readBytes(bytes)) {
            return false;
        }
        value = DataEncrypt::byteToInt(bytes);
        return true;
    }

    bool readBytes(std::span<std::uint8_t> target) {
        if (target.size() > left()) {
            return fail("is cut short");
        }
        if (const auto count = _file.read(target); count != target.size()) {
            return fail(count ? "is cut short" : "cannot be read");
        }
        _offset += target.size();
        return true;
    }

    std::uint64_t left() const { return _file.size() - _offset; }

    bool fail(const char *problem) {
        _pack.problem = problem;
        return false;
    }

    RegularFile _file;
    std::uint64_t _offset = 0;
    DataEncrypt::Pack _pack;
};

constexpr std::size_t kBlockWords = 8;
constexpr std::size_t kBlockSize = kBlockWords * sizeof(std::uint64_t);

/// Transforms a block of a size known to the compiler, which turns the loop into wide instructions.
/// The swap is the same in either byte order.
void transformBlock(std::uint8_t *bytes) {
    constexpr std::uint64_t kSeconds = 0x00ff00ff00ff00ff;
    std::uint64_t words[kBlockWords];
    std::memcpy(words, bytes, sizeof words);
    for (std::uint64_t &word : words) {
        word = ~((word & kSeconds) << 8 | (word >> 8 & kSeconds));
    }
    std::memcpy(bytes, words, sizeof words);
}

/// Transforms the bytes in place, if `encrypt`, and appends the trailing byte.
DataEncrypt::Bytes encoded(DataEncrypt::Bytes bytes, bool encrypt) {
    if (encrypt) {
        DataEncrypt::transformPairs(bytes);
    }
    bytes.push_back(encrypt ? 1 : 0);
    return bytes;
}

void write(std::ofstream &file, const void *bytes, std::size_t length) {
    file.write(static_cast<const char *>(bytes), static_cast<std::streamsize>(length));
}

void writeInteger(std::ofstream &file, std::size_t value) {
    std::uint8_t bytes[kIntegerSize];
    DataEncrypt::integer_toByte(static_cast<std::int32_t>(value), bytes);
    write(file, bytes, sizeof bytes);
}

/// Writes a length and that many bytes.
void writeRecord(std::ofstream &file, const void *bytes, std::size_t length) {
    writeInteger(file, length);
    write(file, bytes, length);
}

} // namespace

void DataEncrypt::integer_toByte(std::int32_t value, std::uint8_t *bytes) {
    const auto bits = static_cast<std::uint32_t>(value);
    bytes[0] = static_cast<std::uint8_t>(bits >> 24);
    bytes[1] = static_cast<std::uint8_t>(bits >> 16);
    bytes[2] = static_cast<std::uint8_t>(bits >> 8);
    bytes[3] = static_cast<std::uint8_t>(bits);
}

std::int32_t DataEncrypt::byteToInt(const std::uint8_t *bytes) {
    const std::uint32_t bits = std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
                               std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
    return static_cast<std::int32_t>(bits);
}

void DataEncrypt::transformPairs(std::span<std::uint8_t> bytes) {
    const std::size_t inBlocks = bytes.size() / kBlockSize * kBlockSize;
    for (std::size_t i = 0; i < inBlocks; i += kBlockSize) {
        transformBlock(bytes.data() + i);
    }
    const std::size_t paired = bytes.size() / 2 * 2;
    for (std::size_t i = inBlocks; i < paired; i += 2) {
        const std::uint8_t first = bytes[i];
        bytes[i] = static_cast<std::uint8_t>(~bytes[i + 1]);
        bytes[i + 1] = static_cast<std::uint8_t>(~first);
    }
    if (paired < bytes.size()) {
        bytes[paired] = static_cast<std::uint8_t>(~bytes[paired]);
    }
}

DataEncrypt::Bytes DataEncrypt::encryptionDataWithData_encrypt(std::span<const std::uint8_t> data,
                                                               bool encrypt) {
    Bytes result;
    result.reserve(data.size() + 1);
    result.assign(data.begin(), data.end());
    return encoded(std::move(result), encrypt);
}

DataEncrypt::Bytes DataEncrypt::encryptionDataWithContentsOfFile_encrypt(const std::string &path,
                                                                         bool encrypt) {
    return encoded(readFile(path, kAnySize).value_or(Bytes()), encrypt);
}

DataEncrypt::Bytes DataEncrypt::dataWithEncryptionData(std::span<const std::uint8_t> data) {
    if (data.empty()) {
        return {};
    }
    try {
        Bytes result(data.begin(), data.end() - 1);
        transformPairs(result);
        return result;
    } catch (const std::bad_alloc &) {
        return {};
    }
}

DataEncrypt::Pack DataEncrypt::readPack(const std::string &path) { return PackReader(path).read(); }

DataEncrypt::Datas DataEncrypt::readDatasFromFilePath(const std::string &path) {
    Datas datas;
    Pack pack = readPack(path);
    try {
        for (Pack::Entry &entry : pack.entries) {
            datas.insert_or_assign(std::move(entry.key), std::move(entry.value));
        }
    } catch (const std::bad_alloc &) {
        // What fits into memory is returned, as by readPack().
    }
    return datas;
}

bool DataEncrypt::saveDatas_toFilePath(const Datas &datas, const std::string &path) {
    std::ofstream file(path, std::ios::binary);
    if (!file) {
        return false;
    }
    writeInteger(file, datas.size());
    for (const auto &[key, value] : datas) {
        writeRecord(file, key.data(), std::min(utf16Length(key), key.size()));
        writeRecord(file, value.data(), value.size());
    }
    return true;
}
