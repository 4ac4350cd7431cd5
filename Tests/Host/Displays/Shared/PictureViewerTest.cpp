#include "Host/Displays/Shared/PictureViewer.h"

#include "Host/Displays/SharedBuffers.h"
#include "Tests/Host/Displays/Shared/Malformed.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <poll.h>

using namespace Lumivera;
using namespace Lumivera::PictureMessage;

namespace {

constexpr unsigned kWidth = 40;
constexpr unsigned kHeight = 30;
constexpr std::uint32_t kPink = 0xFFFF80A0;

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

/// A viewer, and the host's end of its connection.
class PictureViewerTest : public ::testing::Test {
  protected:
    PictureViewerTest() { connect(); }

    void connect() {
        auto [host, viewer] = PacketSocket::makePair();
        _viewer.emplace(std::move(viewer));
        _host.emplace(std::move(host));
    }

    void send(const FromHost &message, int attached = -1) const {
        const auto bytes = bytesOf(message);
        ASSERT_TRUE(_host->send(bytes.data(), bytes.size(), PacketSocket::Wait::No, attached));
    }

    void sendMemory(std::uint32_t number, const SharedBuffers &memory) const {
        send(Memory{number, memory.width(), memory.height(), memory.count()}, memory.descriptor());
    }

    /// What the viewer has sent; monostate for nothing.
    FromViewer heard() const {
        std::array<std::uint8_t, kMaxBytes> bytes;
        PacketSocket::Packet packet;
        return _host->receive(bytes.data(), bytes.size(), PacketSocket::Wait::No, packet) ==
                       PacketSocket::Outcome::Received
                   ? parseFromViewer(bytes.data(), packet.count)
                   : FromViewer();
    }

    bool isSilent() const { return std::holds_alternative<std::monostate>(heard()); }

    std::optional<PictureViewer> _viewer;
    std::optional<PacketSocket> _host;
    SharedBuffers _memory{kWidth, kHeight, 2};
};

TEST_F(PictureViewerTest, ShowsWhatTheHostHasDrawn) {
    sendMemory(1, _memory);
    EXPECT_TRUE(_viewer->receive());
    EXPECT_FALSE(_viewer->hasPicture());
    _memory.pixels(1)[0] = kPink;
    send(Frame{1, 1, {{0, 0, 1, 1}}});
    EXPECT_TRUE(_viewer->receive());
    ASSERT_TRUE(_viewer->hasPicture());
    const auto picture = _viewer->takePicture();
    EXPECT_EQ(picture.pixels()[0], kPink);
    EXPECT_EQ(picture.damage, (std::vector<Rect>{{0, 0, kWidth, kHeight}})) << "the first one";
    EXPECT_TRUE(isSilent());
    _viewer->release();
    EXPECT_TRUE(heard() == FromViewer(Release{1, 1}));
    send(Frame{1, 1, {{3, 4, 5, 6}}});
    EXPECT_TRUE(_viewer->receive());
    EXPECT_EQ(_viewer->takePicture().damage, (std::vector<Rect>{{3, 4, 5, 6}}));
}

TEST_F(PictureViewerTest, KeepsItsPictureWhenTheHostEnds) {
    sendMemory(1, _memory);
    _memory.pixels(0)[7] = kPink;
    send(Frame{1, 0, {}});
    _host.reset();
    EXPECT_FALSE(_viewer->receive());
    const auto picture = _viewer->takePicture();
    _viewer.reset();
    EXPECT_EQ(picture.pixels()[7], kPink);
}

TEST_F(PictureViewerTest, ShowsTheOldPictureUntilTheNewMemoryHasOne) {
    sendMemory(1, _memory);
    send(Frame{1, 0, {}});
    EXPECT_TRUE(_viewer->receive());
    const SharedBuffers larger(2 * kWidth, kHeight, 1);
    sendMemory(2, larger);
    EXPECT_TRUE(_viewer->receive());
    EXPECT_EQ(_viewer->takePicture().memory->width(), kWidth);
    _viewer->release();
    EXPECT_TRUE(heard() == FromViewer(Release{1, 0}));
    send(Frame{2, 0, {}});
    EXPECT_TRUE(_viewer->receive());
    EXPECT_EQ(_viewer->takePicture().memory->width(), 2 * kWidth);
}

TEST_F(PictureViewerTest, LeavesAHostThatSendsWhatCannotBeShown) {
    const std::vector<Frame> wrong = {{2, 0, {}}, {1, 2, {}}, {1, 0, {{0, 0, kWidth + 1, 1}}}};
    for (const Frame &frame : wrong) {
        connect();
        sendMemory(1, _memory);
        EXPECT_TRUE(_viewer->receive());
        send(frame);
        EXPECT_FALSE(_viewer->receive());
        EXPECT_EQ(_viewer->problem(), "the host sent a frame that cannot be shown");
    }
}

TEST_F(PictureViewerTest, LeavesAHostThatDrawsIntoWhatIsRead) {
    sendMemory(1, _memory);
    send(Frame{1, 0, {}});
    send(Frame{1, 1, {}});
    EXPECT_FALSE(_viewer->receive());
}

TEST_F(PictureViewerTest, LeavesAHostWhoseMemoryCouldShrink) {
    const int memory = memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    ASSERT_EQ(ftruncate(memory, kWidth * kHeight * 4), 0);
    send(Memory{1, kWidth, kHeight, 1}, memory);
    close(memory);
    EXPECT_FALSE(_viewer->receive());
    EXPECT_EQ(_viewer->problem(), "the host sent memory that cannot be used");
}

TEST_F(PictureViewerTest, LeavesAHostWhoseMemoryIsOfAnotherSize) {
    for (const Memory &wrong : {Memory{1, kWidth, kHeight, 1}, Memory{1, kWidth, kHeight, 3},
                                Memory{1, kWidth + 1, kHeight, 2}}) {
        connect();
        send(wrong, _memory.descriptor());
        EXPECT_FALSE(_viewer->receive());
    }
    connect();
    send(Memory{1, kWidth, kHeight, 2});
    EXPECT_FALSE(_viewer->receive()) << "without a descriptor";
}

TEST_F(PictureViewerTest, BecomesReadableWhenTheHostHasNoRoom) {
    for (int i = 0; i < 100'000; ++i) {
        _viewer->tap(1, 1);
    }
    _viewer->describe({"DP-1", kVersion, kWidth, kHeight});
    pollfd descriptor{_viewer->descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&descriptor, 1, 0), 1);
    EXPECT_FALSE(_viewer->receive());
    EXPECT_EQ(_viewer->problem(), "the host does not listen");
}

TEST_F(PictureViewerTest, TellsOnceThatTheHostHasForgotten) {
    send(Forgotten{});
    EXPECT_TRUE(_viewer->receive());
    EXPECT_TRUE(_viewer->takeForgotten());
    EXPECT_FALSE(_viewer->takeForgotten());
}

TEST_F(PictureViewerTest, SaysWhyTheHostRefusesIt) {
    send(Refusal{"another program shows this output"});
    EXPECT_FALSE(_viewer->receive());
    EXPECT_EQ(_viewer->problem(), "another program shows this output");
}

TEST_F(PictureViewerTest, TakesAFloodInParts) {
    sendMemory(1, _memory);
    for (int count = 0; count < 100; ++count) {
        sendMemory(1, _memory);
    }
    EXPECT_TRUE(_viewer->receive());
    send(Refusal{"enough"});
    EXPECT_TRUE(!_viewer->receive() || !_viewer->receive());
    EXPECT_EQ(_viewer->problem(), "enough");
}

TEST_F(PictureViewerTest, OutlivesAThousandMalformedMessages) {
    const auto before = openDescriptors();
    const std::vector<std::vector<std::uint8_t>> messages = {
        bytesOf(FromHost(Memory{1, kWidth, kHeight, 2})),
        bytesOf(FromHost(Frame{1, 0, {{0, 0, 5, 5}, {1, 1, 9, 9}}})),
        bytesOf(FromHost(Refusal{"words"}))};
    Malformed malformed(1);
    int ends = 0;
    for (int count = 0; count < 1000; ++count) {
        if (count % 4 == 0) {
            sendMemory(1, _memory);
        }
        malformed.send(*_host, messages);
        if (!_viewer->receive()) {
            ++ends;
            connect();
        } else if (_viewer->hasPicture()) {
            const auto picture = _viewer->takePicture();
            EXPECT_LT(picture.pixels()[kWidth * kHeight - 1], 0xFFFFFFFFU);
            _viewer->release();
        }
    }
    EXPECT_GT(ends, 300);
    connect();
    EXPECT_LE(openDescriptors(), before);
}

} // namespace
