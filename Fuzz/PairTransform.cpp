// The pair transform of stored pictures is its own inverse for any bytes at any alignment, and a
// picture that was stored with it is decoded unchanged.

#include "Animation/Common/ImageSet.h"
#include "Animation/Common/NSData+DataEncrypt.h"

#include <algorithm>
#include <cstdlib>

namespace {

using Bytes = DataEncrypt::Bytes;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// The rule itself, applied to one pair at a time.
Bytes transformedByRule(std::span<const std::uint8_t> data) {
    Bytes result;
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
        result.push_back(static_cast<std::uint8_t>(data[i + 1] ^ 0xff));
        result.push_back(static_cast<std::uint8_t>(data[i] ^ 0xff));
    }
    if (data.size() % 2 == 1) {
        result.push_back(static_cast<std::uint8_t>(data.back() ^ 0xff));
    }
    return result;
}

/// The bytes begin `offset` behind an aligned address; the bytes around them must not change.
void checkInPlace(std::span<const std::uint8_t> data, std::size_t offset) {
    constexpr std::uint8_t kNeighbour = 0x5a;
    Bytes memory(offset + data.size() + 1, kNeighbour);
    const std::span<std::uint8_t> bytes(memory.data() + offset, data.size());
    std::copy(data.begin(), data.end(), bytes.begin());
    DataEncrypt::transformPairs(bytes);
    const Bytes expected = transformedByRule(data);
    require(std::equal(bytes.begin(), bytes.end(), expected.begin(), expected.end()));
    require(memory.back() == kNeighbour);
    require(std::all_of(memory.begin(), memory.begin() + static_cast<std::ptrdiff_t>(offset),
                        [](std::uint8_t byte) { return byte == kNeighbour; }));
    DataEncrypt::transformPairs(bytes);
    require(std::equal(bytes.begin(), bytes.end(), data.begin(), data.end()));
}

void checkStoredForm(std::span<const std::uint8_t> data) {
    const Bytes stored = DataEncrypt::encryptionDataWithData_encrypt(data, true);
    require(stored.size() == data.size() + 1 && stored.back() == 1);
    const Bytes back = DataEncrypt::dataWithEncryptionData(stored);
    require(std::equal(back.begin(), back.end(), data.begin(), data.end()));
}

void checkPicture(std::span<const std::uint8_t> data) {
    const Bytes scrambled = transformedByRule(data);
    const auto plain = SpriteExtend::imageWithData_dencrypt(data, false);
    const auto back = SpriteExtend::imageWithData_dencrypt(scrambled, true);
    require(!plain == !back);
    if (plain) {
        const CGImage &a = *plain->bitmap(), &b = *back->bitmap();
        require(a.width() == b.width() && a.height() == b.height());
        require(std::equal(a.pixels(), a.pixels() + a.width() * a.height(), b.pixels()));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    checkInPlace(bytes, size % 16);
    checkStoredForm(bytes);
    checkPicture(bytes);
    return 0;
}
