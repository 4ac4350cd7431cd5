// Bytes from either side of the picture protocol are no message, or one that is written as the same
// bytes again. The first byte says how long each packet is; a viewer and its host's memory take
// them as a host would send them.

#include "Host/Displays/Shared/PictureMessage.h"
#include "Host/Displays/Shared/PictureViewer.h"
#include "Host/Displays/SharedBuffers.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace Lumivera;
using namespace Lumivera::PictureMessage;

constexpr unsigned kSide = 16;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

template <class Message>
void checkMessage(const Message &message, const std::uint8_t *bytes, std::size_t count) {
    if (!std::holds_alternative<std::monostate>(message)) {
        const auto again = bytesOf(message);
        require(again.size() == count && std::equal(again.begin(), again.end(), bytes));
    }
}

/// A host that sends one good memory, and then what the input says.
void checkViewer(const std::uint8_t *data, std::size_t size) {
    auto [host, viewerEnd] = PacketSocket::makePair();
    PictureViewer viewer(std::move(viewerEnd));
    const SharedBuffers memory(kSide, kSide, 2);
    const auto good = bytesOf(FromHost(Memory{1, kSide, kSide, 2}));
    host.send(good.data(), good.size(), PacketSocket::Wait::No, memory.descriptor());
    for (bool isConnected = viewer.receive(); isConnected && size > 1;) {
        const std::size_t count = std::min<std::size_t>(data[0] + 1, size - 1);
        host.send(data + 1, count, PacketSocket::Wait::No);
        data += count + 1;
        size -= count + 1;
        isConnected = viewer.receive();
        if (viewer.hasPicture()) {
            const auto picture = viewer.takePicture();
            for (const Rect &rect : picture.damage) {
                require(picture.pixels()[(rect.bottom - 1) * static_cast<int>(kSide) + rect.right -
                                         1] == 0);
            }
            viewer.release();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    checkMessage(parseFromViewer(data, size), data, size);
    checkMessage(parseFromHost(data, size), data, size);
    checkViewer(data, size);
    return 0;
}
