#include "Animation/Common/NSData+DataEncrypt.h"

#include "Platform/Foundation/FileBytes.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/UnicodeText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>

namespace {

struct FileCloser {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

constexpr std::size_t kIntegerSize = 4;

/// Reads a pack and never past what the file holds: lengths are held against the bytes that are
/// left before memory is taken.
class PackReader {
  public:
    explicit PackReader(const std::string &path) {
        std::error_code error;
        if (std::filesystem::is_regular_file(path, error)) {
            _file.reset(std::fopen(path.c_str(), "rb"));
            _left = std::filesystem::file_size(path, error);
        }
        if (error) {
            _file.reset();
        }
    }

    bool isOpen() const { return _file != nullptr; }

    std::optional<std::int32_t> readInteger() {
        std::uint8_t bytes[kIntegerSize] = {};
        if (_left < kIntegerSize ||
            std::fread(bytes, 1, kIntegerSize, _file.get()) != kIntegerSize) {
            return std::nullopt;
        }
        _left -= kIntegerSize;
        return DataEncrypt::byteToInt(bytes);
    }

    /// A length and that many bytes.
    template <class Container> std::optional<Container> readRecord() {
        const auto length = readInteger();
        if (!length || *length < 0 || static_cast<std::uint64_t>(*length) > _left) {
            return std::nullopt;
        }
        Container bytes(static_cast<std::size_t>(*length), {});
        if (!bytes.empty() &&
            std::fread(bytes.data(), 1, bytes.size(), _file.get()) != bytes.size()) {
            return std::nullopt;
        }
        _left -= bytes.size();
        return bytes;
    }

  private:
    File _file;
    std::uint64_t _left = 0;
};

constexpr std::size_t kBlockWords = 8;
constexpr std::size_t kBlockSize = kBlockWords * sizeof(std::uint64_t);

/// Many pairs at once, of a number known to the compiler, which then has the processor do it with
/// its widest registers. The swap is the same in either byte order.
void transformBlock(std::uint8_t *bytes) {
    constexpr std::uint64_t kSeconds = 0x00ff00ff00ff00ff;
    std::uint64_t words[kBlockWords];
    std::memcpy(words, bytes, sizeof words);
    for (std::uint64_t &word : words) {
        word = ~((word & kSeconds) << 8 | (word >> 8 & kSeconds));
    }
    std::memcpy(bytes, words, sizeof words);
}

void writeInteger(std::FILE *file, std::size_t value) {
    std::uint8_t bytes[kIntegerSize];
    DataEncrypt::integer_toByte(static_cast<std::int32_t>(value), bytes);
    std::fwrite(bytes, 1, sizeof bytes, file);
}

/// Writes a length and that many bytes.
void writeRecord(std::FILE *file, const void *bytes, std::size_t length) {
    writeInteger(file, length);
    if (length > 0) {
        std::fwrite(bytes, 1, length, file);
    }
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
    if (encrypt) {
        transformPairs(result);
    }
    result.push_back(encrypt ? 1 : 0);
    return result;
}

DataEncrypt::Bytes DataEncrypt::encryptionDataWithContentsOfFile_encrypt(const std::string &path,
                                                                         bool encrypt) {
    const auto contents = readFile(path, std::numeric_limits<std::int32_t>::max());
    return encryptionDataWithData_encrypt(contents.value_or(Bytes()), encrypt);
}

DataEncrypt::Bytes DataEncrypt::dataWithEncryptionData(std::span<const std::uint8_t> data) {
    if (data.empty()) {
        return {};
    }
    Bytes result(data.begin(), data.end() - 1);
    transformPairs(result);
    return result;
}

DataEncrypt::Datas DataEncrypt::readDatasFromFilePath(const std::string &path) {
    Datas datas;
    PackReader reader(path);
    const std::int32_t count = reader.isOpen() ? reader.readInteger().value_or(0) : 0;
    for (std::int32_t i = 0; i < count; ++i) {
        auto key = reader.readRecord<std::string>();
        if (!key || !isValidUTF8(*key)) {
            break;
        }
        NSLog("key = " + *key);
        auto value = reader.readRecord<Bytes>();
        if (!value) {
            break;
        }
        NSLog("data length = " + std::to_string(value->size()));
        datas.insert_or_assign(std::move(*key), std::move(*value));
    }
    return datas;
}

bool DataEncrypt::saveDatas_toFilePath(const Datas &datas, const std::string &path) {
    const File file(std::fopen(path.c_str(), "wb"));
    if (!file) {
        return false;
    }
    writeInteger(file.get(), datas.size());
    for (const auto &[key, value] : datas) {
        writeRecord(file.get(), key.data(), std::min(utf16Length(key), key.size()));
        writeRecord(file.get(), value.data(), value.size());
    }
    return true;
}
