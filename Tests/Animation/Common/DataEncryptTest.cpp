#include "Animation/Common/NSData+DataEncrypt.h"

#include "Tests/Animation/Support/AllocationCounter.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <numeric>

namespace {

using Bytes = DataEncrypt::Bytes;

Bytes bytesOf(std::int32_t value) {
    Bytes bytes(4);
    DataEncrypt::integer_toByte(value, bytes.data());
    return bytes;
}

TEST(DataEncrypt, WritesIntegersWithTheHighestByteFirst) {
    EXPECT_EQ(bytesOf(1), (Bytes{0, 0, 0, 1}));
    EXPECT_EQ(bytesOf(-1), (Bytes{0xff, 0xff, 0xff, 0xff}));
    EXPECT_EQ(bytesOf(0x12345678), (Bytes{0x12, 0x34, 0x56, 0x78}));
}

TEST(DataEncrypt, ReadsTheTopBitAsTheSign) {
    const Bytes bytes{0x80, 0, 0, 0};
    EXPECT_EQ(DataEncrypt::byteToInt(bytes.data()), -2147483648);
}

TEST(DataEncrypt, ReadsBackEveryIntegerThatItWrites) {
    using Limits = std::numeric_limits<std::int32_t>;
    for (const std::int32_t value :
         {0, 1, -1, 255, 256, -256, 0x00ff00ff, Limits::min(), Limits::max()}) {
        EXPECT_EQ(DataEncrypt::byteToInt(bytesOf(value).data()), value);
    }
}

TEST(DataEncrypt, EncodesByTransformingPairsAndSayingSo) {
    const Bytes plain{0x12, 0x34};
    EXPECT_EQ(DataEncrypt::encryptionDataWithData_encrypt(plain, true), (Bytes{0xcb, 0xed, 1}));
}

TEST(DataEncrypt, LeavesThePayloadAloneWhenItShallNotEncrypt) {
    const Bytes plain{0x12, 0x34};
    EXPECT_EQ(DataEncrypt::encryptionDataWithData_encrypt(plain, false), (Bytes{0x12, 0x34, 0}));
}

TEST(DataEncrypt, LeavesTheCallersBytesAlone) {
    const Bytes plain{0x12, 0x34};
    DataEncrypt::encryptionDataWithData_encrypt(plain, true);
    EXPECT_EQ(plain, (Bytes{0x12, 0x34}));
}

TEST(DataEncrypt, DecodesWhateverTheTrailingByteSays) {
    EXPECT_EQ(DataEncrypt::dataWithEncryptionData(Bytes{0xcb, 0xed, 1}), (Bytes{0x12, 0x34}));
    EXPECT_EQ(DataEncrypt::dataWithEncryptionData(Bytes{0xcb, 0xed, 77}), (Bytes{0x12, 0x34}));
    EXPECT_EQ(DataEncrypt::dataWithEncryptionData(Bytes{0x12, 0x34, 0}), (Bytes{0xcb, 0xed}));
}

TEST(DataEncrypt, DecodesASingleByteAndNothingAtAllToNothing) {
    EXPECT_EQ(DataEncrypt::dataWithEncryptionData(Bytes{1}), Bytes());
    EXPECT_EQ(DataEncrypt::dataWithEncryptionData(Bytes()), Bytes());
}

TEST(DataEncrypt, ComplementsTheLoneByteOfAnOddPayload) {
    const Bytes plain{0x12, 0x34, 0x0f};
    EXPECT_EQ(DataEncrypt::encryptionDataWithData_encrypt(plain, true),
              (Bytes{0xcb, 0xed, 0xf0, 1}));
    EXPECT_EQ(DataEncrypt::encryptionDataWithData_encrypt(Bytes{0x00}, true), (Bytes{0xff, 1}));
}

TEST(DataEncrypt, ComesBackAsItWentInWhateverTheLength) {
    for (std::size_t length = 0; length < 70; ++length) {
        Bytes plain(length);
        std::iota(plain.begin(), plain.end(), std::uint8_t{200});
        const Bytes encoded = DataEncrypt::encryptionDataWithData_encrypt(plain, true);
        EXPECT_EQ(encoded.size(), length + 1);
        EXPECT_EQ(DataEncrypt::dataWithEncryptionData(encoded), plain) << length;
    }
}

TEST(DataEncrypt, EncodesNothingToTheFlagAlone) {
    EXPECT_EQ(DataEncrypt::encryptionDataWithData_encrypt({}, true), Bytes{1});
    EXPECT_EQ(DataEncrypt::encryptionDataWithData_encrypt({}, false), Bytes{0});
}

TEST(DataEncrypt, EncodesAWholeFile) {
    const TemporaryFolder folder;
    const std::string path = folder.write("data", std::string_view("\x12\x34", 2));
    EXPECT_EQ(DataEncrypt::encryptionDataWithContentsOfFile_encrypt(path, true),
              (Bytes{0xcb, 0xed, 1}));
    EXPECT_EQ(DataEncrypt::encryptionDataWithContentsOfFile_encrypt(path, false),
              (Bytes{0x12, 0x34, 0}));
}

/// True when enough memory is free for a test to take that much.
bool isMemoryFree([[maybe_unused]] std::uint64_t gibibytes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;
#else
    std::ifstream file("/proc/meminfo");
    std::string word;
    std::uint64_t kibibytes = 0;
    while (file >> word && word != "MemAvailable:") {
    }
    return file >> kibibytes && kibibytes >> 20 >= gibibytes;
#endif
}

TEST(DataEncrypt, EncodesAFileOfTwoGibibytesWhole) {
    if (!isMemoryFree(6)) {
        GTEST_SKIP() << "needs 6 GiB of free memory, and no address or thread sanitizer";
    }
    constexpr std::uint64_t kSize = std::uint64_t{1} << 31;
    const TemporaryFolder folder;
    const std::string path = folder.write("data", "");
    std::filesystem::resize_file(path, kSize);
    const Bytes encoded = DataEncrypt::encryptionDataWithContentsOfFile_encrypt(path, false);
    ASSERT_EQ(encoded.size(), kSize + 1);
    EXPECT_EQ(encoded[kSize - 1], 0);
    EXPECT_LE(encoded.capacity(), kSize + 4096) << "no second buffer";
}

TEST(DataEncrypt, CountsAFileThatMemoryDoesNotHoldAsEmpty) {
    const TemporaryFolder folder;
    const std::string path = folder.write("data", "");
    std::filesystem::resize_file(path, 1 << 20);
    AllocationCounter::setLargestBlock(1 << 19);
    const Bytes encoded = DataEncrypt::encryptionDataWithContentsOfFile_encrypt(path, true);
    AllocationCounter::setLargestBlock(SIZE_MAX / 2);
    EXPECT_EQ(encoded, Bytes{1});
}

TEST(DataEncrypt, DecodesToNothingWithoutMemory) {
    const Bytes encoded(1 << 20);
    AllocationCounter::setLargestBlock(1 << 19);
    const Bytes decoded = DataEncrypt::dataWithEncryptionData(encoded);
    AllocationCounter::setLargestBlock(SIZE_MAX / 2);
    EXPECT_TRUE(decoded.empty());
}

TEST(DataEncrypt, CountsAFileThatItCannotReadAsEmpty) {
    const TemporaryFolder folder;
    EXPECT_EQ(DataEncrypt::encryptionDataWithContentsOfFile_encrypt(folder.pathOf("none"), true),
              Bytes{1});
    EXPECT_EQ(DataEncrypt::encryptionDataWithContentsOfFile_encrypt(folder.path(), false),
              Bytes{0});
}

} // namespace
