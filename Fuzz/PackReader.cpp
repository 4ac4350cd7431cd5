// Whatever a resource pack holds, its entries lie inside the file and are logged one by one.

#include "Animation/Common/NSData+DataEncrypt.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSString.h"

#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr std::size_t kIntegerSize = 4;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::size_t linesLogged = 0;

void countLogLines() {
    [[maybe_unused]] static const bool once = [] {
        NSLogSetSink([](std::string_view) { ++linesLogged; });
        return true;
    }();
}

/// A file that holds these bytes until the next call.
std::string pathOf(const std::uint8_t *data, std::size_t size) {
    static int file = -1;
    close(file);
    file = memfd_create("pack", MFD_CLOEXEC);
    require(write(file, data, size) == static_cast<ssize_t>(size));
    return "/proc/self/fd/" + std::to_string(file);
}

/// Entries follow each other without gaps, and the log says why reading ended early.
void checkPack(const DataEncrypt::Pack &pack, std::size_t size) {
    std::uint64_t offset = kIntegerSize;
    for (const auto &entry : pack.entries) {
        require(entry.offset == offset);
        offset += kIntegerSize + entry.key.size() + kIntegerSize + entry.value.size();
    }
    require(pack.end == (size < kIntegerSize ? 0 : offset) && pack.end <= size);
    const auto count = static_cast<std::int64_t>(pack.entries.size());
    require(size < kIntegerSize || pack.problem.empty() == (count >= pack.count));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    countLogLines();
    linesLogged = 0;
    std::size_t held = kIntegerSize;
    const std::string path = pathOf(data, size);
    checkPack(DataEncrypt::readPack(path), size);
    linesLogged = 0;
    const auto entries = DataEncrypt::readDatasFromFilePath(path);
    for (const auto &[key, value] : entries) {
        require(isValidUTF8(key));
        held += kIntegerSize + key.size() + kIntegerSize + value.size();
        DataEncrypt::Bytes payload = DataEncrypt::dataWithEncryptionData(value);
        require(payload.size() == (value.empty() ? 0 : value.size() - 1));
        const auto again = DataEncrypt::encryptionDataWithData_encrypt(payload, true);
        require(DataEncrypt::dataWithEncryptionData(again) == payload);
    }
    require(entries.empty() || held <= size);
    require(linesLogged >= 2 * entries.size());
    return 0;
}
