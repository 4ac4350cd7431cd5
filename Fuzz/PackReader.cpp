// Resource packs: whatever the file holds, the entries come from it and were logged one by one.

#include "Animation/Common/NSData+DataEncrypt.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/UnicodeText.h"

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

DataEncrypt::Datas read(const std::uint8_t *data, std::size_t size) {
    const int file = memfd_create("pack", MFD_CLOEXEC);
    require(write(file, data, size) == static_cast<ssize_t>(size));
    const auto entries =
        DataEncrypt::readDatasFromFilePath("/proc/self/fd/" + std::to_string(file));
    close(file);
    return entries;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    countLogLines();
    linesLogged = 0;
    std::size_t held = kIntegerSize;
    const auto entries = read(data, size);
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
