// A hostile view may send its host anything at any time. It is ended for what it was not asked for,
// and its host passes on only pictures that it has allowed, with damage that lies in them, and
// keeps no descriptor.

#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Displays/SharedBuffers.h"
#include "Host/Support/PacketSocket.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/SimulatedClock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <span>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace Lumivera;

constexpr unsigned kSide = 16;
constexpr unsigned kBuffers = 2;
constexpr std::size_t kMaxSteps = 64;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

int lowestFreeDescriptor() {
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
}

class Input {
  public:
    explicit Input(std::span<const std::uint8_t> bytes) : _bytes(bytes) {}

    bool isEmpty() const { return _bytes.empty(); }

    unsigned byte() {
        const auto first = take(1);
        return first.empty() ? 0 : first[0];
    }

    /// A number whose interesting values are the small ones and the largest.
    std::uint32_t number() {
        const unsigned value = byte();
        return value < 0xF0 ? value : ~0U << (value & 0xF) * 2;
    }

    std::span<const std::uint8_t> take(std::size_t count) {
        const auto taken = _bytes.first(std::min(count, _bytes.size()));
        _bytes = _bytes.subspan(taken.size());
        return taken;
    }

  private:
    std::span<const std::uint8_t> _bytes;
};

/// The host's side, whose descriptors are served when the input says so.
class Conversation final : public DescriptorWatch, public RemoteView::Listener {
  public:
    explicit Conversation(const std::shared_ptr<SharedBuffers> &memory)
        : Conversation(memory, PacketSocket::makePair()) {}

    void goOn(Input &input) {
        switch (input.byte() % 8) {
        case 0:
            return allowDrawing(input.byte() % kBuffers);
        case 1:
            return _view->setRunning(input.byte() % 2 != 0);
        case 2:
            return setPetals(input.number());
        case 3:
            return _view->tap({static_cast<double>(input.byte()), 1});
        case 4:
            return NSRunLoop::mainRunLoop().runForSeconds(1);
        default:
            return send(input);
        }
    }

    void serve() {
        const std::vector<DescriptorSource *> sources = _sources;
        for (DescriptorSource *const source : sources) {
            if (std::find(_sources.begin(), _sources.end(), source) != _sources.end()) {
                source->serve();
            }
        }
        ViewOrder order;
        PacketSocket::Packet packet;
        while (_view && _other.receive(&order, sizeof order, PacketSocket::Wait::No, packet) ==
                            PacketSocket::Outcome::Received) {
            close(packet.attached);
        }
    }

    bool hasEnded() const { return !_view; }

  private:
    Conversation(const std::shared_ptr<SharedBuffers> &memory,
                 std::pair<PacketSocket, PacketSocket> ends)
        : _other(std::move(ends.second)) {
        ViewProcess::Start start;
        start.bundle = "/bundle";
        start.memory = memory;
        start.connection = &ends.first;
        _view = std::make_unique<ViewProcess>(*this, start, *this);
    }

    void add(DescriptorSource &source) override { _sources.push_back(&source); }
    void remove(DescriptorSource &source) override { std::erase(_sources, &source); }

    void allowDrawing(unsigned index) {
        _isAllowed[index] = true;
        _view->allowDrawing(index);
    }

    void setPetals(std::uint32_t petals) {
        WallpaperValues values;
        values.petals = petals;
        _view->set(values);
    }

    void send(Input &input) {
        ViewReport report;
        report.kind = static_cast<ViewReport::Kind>(input.byte() % 11);
        report.index = input.number();
        report.count = input.number();
        report.petals = input.number();
        const unsigned form = input.byte();
        const std::size_t cut = form % 4 == 0 ? input.byte() : 0;
        const auto content = input.take(form % 4 == 1 ? 0 : std::size_t{input.byte()} * 4);
        std::memcpy(report.text, content.data(), content.size());
        const std::size_t size = offsetof(ViewReport, text) + content.size();
        const int attached = form >= 0xC0 ? open("/dev/null", O_RDONLY | O_CLOEXEC) : -1;
        _other.send(&report, size - std::min(cut, size), PacketSocket::Wait::No, attached);
        close(attached);
    }

    void viewDrew(RemoteView &, unsigned index, const std::vector<DeviceRect> &rects) override {
        require(_view && index < kBuffers && std::exchange(_isAllowed[index], false));
        for (const DeviceRect &rect : rects) {
            require(rect.left >= 0 && rect.top >= 0 && rect.left < rect.right &&
                    rect.top < rect.bottom && rect.right <= static_cast<int>(kSide) &&
                    rect.bottom <= static_cast<int>(kSide));
        }
    }

    void viewEnded(RemoteView &, const std::string &reason, bool) override {
        require(_view != nullptr);
        require(reason.find('\n') == std::string::npos && reason.find('\x1b') == std::string::npos);
        _view.reset();
    }

    std::vector<DescriptorSource *> _sources;
    const PacketSocket _other;
    bool _isAllowed[kBuffers] = {};
    std::unique_ptr<ViewProcess> _view;
};

const std::shared_ptr<SharedBuffers> &sharedMemory() {
    static const auto memory = [] {
        NSLogSetSink([](std::string_view) {});
        return std::make_shared<SharedBuffers>(kSide, kSide, kBuffers);
    }();
    return memory;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::shared_ptr<SharedBuffers> &memory = sharedMemory();
    SimulatedClock clock;
    Clock::setCurrent(&clock);
    const int before = lowestFreeDescriptor();
    {
        Conversation conversation(memory);
        Input input({data, size});
        for (std::size_t step = 0; step < kMaxSteps && !input.isEmpty(); ++step) {
            conversation.goOn(input);
            if (!conversation.hasEnded()) {
                conversation.serve();
            }
            if (conversation.hasEnded()) {
                break;
            }
        }
    }
    require(lowestFreeDescriptor() == before);
    NSRunLoop::mainRunLoop().runUntil(Clock::current().now());
    Clock::setCurrent(nullptr);
    return 0;
}
