// Settings that are to be given back are read whole or not at all, and are written as they were
// read. The values of file managers come back from their files as they were written.

#include "Host/Desktop/Backgrounds/KeptSettings.h"
#include "Host/Desktop/Backgrounds/KeyFileText.h"

#include <cstdint>
#include <cstdlib>

namespace {

namespace KeyFileText = Lumivera::KeyFileText;
using Lumivera::KeptSettings;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void checkValue(const std::string &value) {
    const std::string text = KeyFileText::fromQt(value);
    require(KeyFileText::fromQt(KeyFileText::toQt(text)) == text);
    require(KeyFileText::fromGLib(KeyFileText::toGLib(value)) == value);
    const std::string line = KeyFileText::toGLib(value);
    const std::string file = KeyFileText::withValue(value, "*", "key", line);
    require(KeyFileText::valueIn(file, "*", "key").has_value());
    require(
        !KeyFileText::valueIn(KeyFileText::withValue(file, "*", "key", std::nullopt), "*", "key"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    if (const auto entries = KeptSettings::parse(text)) {
        const auto again = KeptSettings::parse(KeptSettings::textOf(*entries));
        require(!again || *again == *entries);
        require(again || KeptSettings::textOf(*entries).size() > KeptSettings::kMaxBytes);
    }
    checkValue(text);
    return 0;
}
