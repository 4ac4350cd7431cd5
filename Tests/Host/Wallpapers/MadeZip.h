#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The bytes of a zip file, byte for byte as a test wants them, however wrong.
class MadeZip {
  public:
    struct Entry {
        std::string name = {};
        std::string bytes = {};

        std::uint16_t method = 0;
        std::uint16_t flags = 0;
        std::uint32_t mode = 0100644;

        /// What the headers say, instead of the truth.
        std::optional<std::uint32_t> size = {};
        std::optional<std::uint32_t> packedSize = {};
        std::optional<std::uint32_t> checksum = {};
        std::optional<std::uint32_t> offset = {};
        std::optional<std::string> nameAtEntry = {};
    };

    MadeZip &add(Entry entry) {
        _entries.push_back(std::move(entry));
        return *this;
    }

    MadeZip &add(const std::string &name, const std::string &bytes) {
        return add(Entry{.name = name, .bytes = bytes});
    }

    /// Bytes before the first entry, between the last one and the list, and behind the end.
    std::string before;
    std::string between;
    std::string behind;

    /// What the end says, instead of the truth.
    std::optional<std::uint16_t> count;
    std::string comment;

    std::string bytes() const {
        std::string text = before;
        std::string list;
        for (const Entry &entry : _entries) {
            const auto offset = static_cast<std::uint32_t>(text.size());
            const std::string &name = entry.nameAtEntry.value_or(entry.name);
            text += "PK\3\4" + number(20, 2) + common(entry, name) + name + entry.bytes;
            list += "PK\1\2" + number(0x314, 2) + number(20, 2) + common(entry, entry.name) +
                    number(0, 2) + number(0, 2) + number(0, 2) + number(entry.mode << 16, 4) +
                    number(entry.offset.value_or(offset), 4) + entry.name;
        }
        text += between;
        const std::uint32_t many = count.value_or(static_cast<std::uint16_t>(_entries.size()));
        return text + list + "PK\5\6" + number(0, 4) + number(many, 2) + number(many, 2) +
               number(list.size(), 4) + number(text.size(), 4) + number(comment.size(), 2) +
               comment + behind;
    }

    static std::string number(std::uint64_t value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i) {
            text += static_cast<char>(value >> (8 * i) & 0xff);
        }
        return text;
    }

    /// 1 + 258 * `repeats` zeros, deflated.
    static std::string deflatedZeros(std::size_t repeats) {
        std::string bytes = {};
        unsigned pending = 0;
        int count = 0;
        // Codes are written from their highest bit on, into bytes from the lowest bit on.
        const auto put = [&](unsigned code, int bits) {
            for (int i = bits - 1; i >= 0; --i) {
                pending |= (code >> i & 1U) << count;
                if (++count == 8) {
                    bytes += static_cast<char>(pending);
                    pending = 0;
                    count = 0;
                }
            }
        };
        put(0b110, 3);      // the last block, with the fixed codes
        put(0b00110000, 8); // a zero
        for (std::size_t i = 0; i < repeats; ++i) {
            put(0b11000101, 8); // 258 times the same again …
            put(0b00000, 5);    // … from one byte before
        }
        put(0, 7); // the end of the block
        put(0, 7); // fills the last byte
        return bytes;
    }

    static std::uint32_t checksumOf(const std::string &bytes) {
        std::uint32_t sum = 0xffffffff;
        for (const char c : bytes) {
            sum ^= static_cast<std::uint8_t>(c);
            for (int i = 0; i < 8; ++i) {
                sum = sum >> 1 ^ (0xedb88320 & (0U - (sum & 1U)));
            }
        }
        return ~sum;
    }

  private:
    /// The fields that both headers of an entry have.
    static std::string common(const Entry &entry, const std::string &name) {
        const auto bytes = static_cast<std::uint32_t>(entry.bytes.size());
        return number(entry.flags, 2) + number(entry.method, 2) + number(0, 2) + number(0x21, 2) +
               number(entry.checksum.value_or(checksumOf(entry.bytes)), 4) +
               number(entry.packedSize.value_or(bytes), 4) + number(entry.size.value_or(bytes), 4) +
               number(name.size(), 2) + number(0, 2);
    }

    std::vector<Entry> _entries;
};
