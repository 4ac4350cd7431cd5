#include "Host/Displays/Shared/SharedDesktop.h"

#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Tests/Host/Displays/Shared/Malformed.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <poll.h>

using namespace Lumivera;
using namespace Lumivera::PictureMessage;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const Output kOutput{"DP-1", kVersion, 40, 30, Visibility::Visible, 2};

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

/// Serves descriptors when a test says so.
class Watch final : public DescriptorWatch {
  public:
    void add(DescriptorSource &source) override { _sources.push_back(&source); }
    void remove(DescriptorSource &source) override { std::erase(_sources, &source); }

    /// Serves those that are ready until none is.
    void serve() {
        for (bool isAnyReady = true; isAnyReady;) {
            isAnyReady = false;
            for (DescriptorSource *source : std::vector(_sources)) {
                pollfd state{source->descriptor(), source->awaitedEvents(), 0};
                const bool isThere =
                    std::find(_sources.begin(), _sources.end(), source) != _sources.end();
                if (isThere && source->awaitedEvents() != 0 && poll(&state, 1, 0) > 0) {
                    source->serve();
                    isAnyReady = true;
                }
            }
        }
    }

  private:
    std::vector<DescriptorSource *> _sources;
};

/// The viewer's end of a connection.
class Viewer {
  public:
    explicit Viewer(PacketSocket socket) : _socket(std::move(socket)) {}

    void send(const FromViewer &message) const {
        const auto bytes = bytesOf(message);
        _socket.send(bytes.data(), bytes.size(), PacketSocket::Wait::No);
    }

    /// monostate for nothing.
    FromHost heard() const {
        std::array<std::uint8_t, kMaxBytes> bytes;
        PacketSocket::Packet packet;
        if (_socket.receive(bytes.data(), bytes.size(), PacketSocket::Wait::No, packet) !=
            PacketSocket::Outcome::Received) {
            return {};
        }
        if (packet.attached >= 0) {
            close(packet.attached);
        }
        return parseFromHost(bytes.data(), packet.count);
    }

    template <class Message> std::optional<Message> next() const {
        const FromHost message = heard();
        const auto *wanted = std::get_if<Message>(&message);
        return wanted ? std::optional(*wanted) : std::nullopt;
    }

    const PacketSocket &socket() const { return _socket; }

  private:
    PacketSocket _socket;
};

/// A headless desktop with one output, beside which viewers connect. The test stands for the host.
class SharedDesktopTest : public SimulatedTimeTest,
                          public Desktop::Listener,
                          public DesktopSurface::Listener {
  protected:
    SharedDesktopTest() {
        auto own = std::make_unique<HeadlessDesktop>();
        own->addOutput("DP-1", {100, 50, 1});
        _own = own.get();
        _desktop.emplace(_watch, std::move(own));
        _desktop->setListener(this);
        heard.clear();
    }

    void TearDown() override {
        _desktop.reset();
        SimulatedTimeTest::TearDown();
    }

    std::unique_ptr<Viewer> connect() {
        auto [host, viewer] = PacketSocket::makePair();
        _desktop->welcome(dup(host.descriptor()));
        return std::make_unique<Viewer>(std::move(viewer));
    }

    std::unique_ptr<Viewer> connect(const Output &output) {
        auto viewer = connect();
        viewer->send(output);
        serve();
        return viewer;
    }

    void serve() {
        _watch.serve();
        runForSeconds(0.01);
    }

    /// A viewer that shows one frame of new memory.
    std::unique_ptr<Viewer> showFrame() {
        auto viewer = connect(kOutput);
        surface->setListener(this);
        surface->setBuffers(std::make_shared<SharedBuffers>(kOutput.width, kOutput.height, 2));
        serve();
        surface->present(0, {{0, 0, 10, 10}});
        EXPECT_TRUE(viewer->next<Memory>() && viewer->next<Frame>());
        heard.clear();
        return viewer;
    }

    void outputAdded(DesktopSurface &added) override {
        surface = &added;
        heard.push_back("added " + added.outputName() + " " +
                        std::to_string(added.geometry().width));
    }
    void outputRemoved(DesktopSurface &removed) override {
        surface = surface == &removed ? nullptr : surface;
        heard.push_back("removed " + removed.outputName() + " " +
                        std::to_string(removed.geometry().width));
    }
    void desktopLost(const std::string &reason) override { heard.push_back("lost " + reason); }

    void surfaceGeometryChanged() override {
        heard.push_back("geometry " + std::to_string(surface->geometry().width));
    }
    void surfaceVisibilityChanged() override {
        heard.push_back("visibility " + std::to_string(static_cast<int>(surface->visibility())));
    }
    void bufferWanted(unsigned index) override {
        heard.push_back("wanted " + std::to_string(index));
    }
    void tapped(CGPoint point) override {
        heard.push_back("tapped " + std::to_string(std::lround(point.x)));
    }
    void scrolledBy(CGFloat) override {}
    void scrollingEnded() override {}

    Watch _watch;
    HeadlessDesktop *_own = nullptr;
    std::optional<SharedDesktop> _desktop;
    DesktopSurface *surface = nullptr;
    std::vector<std::string> heard;
};

TEST_F(SharedDesktopTest, LetsAViewerShowTheOutputInPlaceOfTheWindowSystem) {
    const auto viewer = connect(kOutput);
    EXPECT_THAT(heard, ElementsAre("removed DP-1 100", "added DP-1 40"));
    EXPECT_EQ(surface->geometry(), (SurfaceGeometry{40, 30, 2}));
    EXPECT_EQ(surface->layer().words, "shown by the desktop itself, behind its icons");
}

TEST_F(SharedDesktopTest, AddsAnOutputThatOnlyTheViewerKnows) {
    Output other = kOutput;
    other.name = "other";
    const auto viewer = connect(other);
    EXPECT_THAT(heard, ElementsAre("added other 40"));
}

TEST_F(SharedDesktopTest, ShowsItsOwnSurfaceAgainSomeTimeAfterTheViewer) {
    auto viewer = connect(kOutput);
    heard.clear();
    viewer.reset();
    serve();
    EXPECT_THAT(heard, ElementsAre("removed DP-1 40"));
    runForSeconds(9);
    EXPECT_THAT(heard, ElementsAre("removed DP-1 40"));
    runForSeconds(2);
    EXPECT_THAT(heard, ElementsAre("removed DP-1 40", "added DP-1 100"));
}

TEST_F(SharedDesktopTest, WaitsForAViewerThatIsStartedAgain) {
    auto viewer = connect(kOutput);
    viewer.reset();
    serve();
    runForSeconds(5);
    heard.clear();
    viewer = connect(kOutput);
    runForSeconds(20);
    EXPECT_THAT(heard, ElementsAre("added DP-1 40"));
}

TEST_F(SharedDesktopTest, ShowsItsOwnSurfaceAgainWhateverOtherViewersDo) {
    auto viewer = connect(kOutput);
    viewer.reset();
    serve();
    Output other = kOutput;
    other.name = "other";
    for (int second = 0; second < 11; ++second) {
        auto restless = connect(other);
        restless.reset();
        serve();
        runForSeconds(1);
    }
    EXPECT_THAT(heard, Contains("added DP-1 100"));
}

TEST_F(SharedDesktopTest, TellsItsViewersThatSettingsAreForgotten) {
    const auto viewer = connect(kOutput);
    _desktop->settingsForgotten();
    EXPECT_TRUE(viewer->next<Forgotten>());
}

TEST_F(SharedDesktopTest, KeepsAnOutputThatAppearsLaterFromTheWindowSystem) {
    _own->removeOutput("DP-1");
    const auto viewer = connect(kOutput);
    heard.clear();
    _own->addOutput("DP-1", {100, 50, 1});
    EXPECT_THAT(heard, IsEmpty());
    _own->removeOutput("DP-1");
    EXPECT_THAT(heard, IsEmpty());
    _own->lose("over");
    EXPECT_THAT(heard, ElementsAre("lost over"));
}

TEST_F(SharedDesktopTest, RefusesASecondViewerOfTheSameOutput) {
    const auto first = connect(kOutput);
    heard.clear();
    const auto second = connect(kOutput);
    EXPECT_EQ(second->next<Refusal>()->words, "another program shows this output");
    serve();
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(SharedDesktopTest, SendsMemoryAndFramesAndWaitsForTheRelease) {
    const auto viewer = connect(kOutput);
    surface->setListener(this);
    heard.clear();
    surface->setBuffers(std::make_shared<SharedBuffers>(40, 30, 2));
    serve();
    EXPECT_EQ(viewer->next<Memory>(), (Memory{1, 40, 30, 2}));
    EXPECT_THAT(heard, ElementsAre("wanted 0"));
    surface->present(0, {{-3, 2, 5, 100}});
    EXPECT_EQ(viewer->next<Frame>(), (Frame{1, 0, {{0, 2, 5, 30}}}));
    surface->present(1, {});
    EXPECT_FALSE(viewer->next<Frame>()) << "the viewer still reads";
    viewer->send(Release{1, 0});
    serve();
    EXPECT_THAT(heard, ElementsAre("wanted 0", "wanted 0"));
}

TEST_F(SharedDesktopTest, IgnoresALateReleaseOfOlderMemory) {
    const auto viewer = showFrame();
    surface->setBuffers(std::make_shared<SharedBuffers>(40, 30, 2));
    serve();
    heard.clear();
    viewer->send(Release{1, 0});
    serve();
    EXPECT_THAT(heard, IsEmpty());
    surface->present(0, {});
    viewer->send(Release{2, 0});
    serve();
    EXPECT_THAT(heard, ElementsAre("wanted 0"));
}

TEST_F(SharedDesktopTest, TellsWhatHasChanged) {
    const auto viewer = showFrame();
    Output changed = kOutput;
    changed.visibility = Visibility::FullScreen;
    viewer->send(changed);
    serve();
    changed.width = 41;
    viewer->send(changed);
    changed.width = 42;
    viewer->send(changed);
    serve();
    EXPECT_THAT(heard, ElementsAre("visibility 2", "geometry 42"));
}

TEST_F(SharedDesktopTest, CountsAsCoveredWhenTheViewerDoesNotShowItsPictures) {
    const auto viewer = showFrame();
    runForSeconds(0.8);
    EXPECT_THAT(heard, ElementsAre("visibility 1"));
    viewer->send(Release{1, 0});
    serve();
    EXPECT_THAT(heard, ElementsAre("visibility 1", "visibility 0", "wanted 0"));
}

TEST_F(SharedDesktopTest, PassesTapsOnTheOutputOn) {
    const auto viewer = showFrame();
    for (const double x : {5.0, 19.9, 20.0, -0.1}) {
        viewer->send(Tap{x, 1});
    }
    serve();
    EXPECT_THAT(heard, ElementsAre("tapped 5", "tapped 20")) << "it is 20 points wide";
}

TEST_F(SharedDesktopTest, LeavesAViewerThatBreaksARule) {
    Output renamed = kOutput;
    renamed.name = "DP-2";
    Output newer = kOutput;
    newer.version = kVersion + 1;
    for (const FromViewer &wrong : {FromViewer(Release{1, 1}), FromViewer(Release{2, 0}),
                                    FromViewer(renamed), FromViewer(newer)}) {
        const auto viewer = showFrame();
        viewer->send(wrong);
        serve();
        EXPECT_TRUE(viewer->next<Refusal>());
        EXPECT_THAT(heard, ElementsAre("removed DP-1 40"));
        runForSeconds(11);
    }
}

TEST_F(SharedDesktopTest, LeavesAViewerOfAnotherVersionWithAWord) {
    Output newer = kOutput;
    newer.version = kVersion + 1;
    const auto viewer = connect(newer);
    EXPECT_TRUE(viewer->next<Refusal>());
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(SharedDesktopTest, LeavesAViewerThatFloods) {
    const auto viewer = showFrame();
    for (int part = 0; part < 25 && surface; ++part) {
        for (int count = 0; count < 100; ++count) {
            viewer->send(Tap{-1, -1});
        }
        _watch.serve();
    }
    serve();
    EXPECT_EQ(viewer->next<Refusal>()->words, "it sends too many messages");
    EXPECT_FALSE(surface);
}

TEST_F(SharedDesktopTest, LeavesAViewerThatDoesNotRead) {
    const auto viewer = connect(kOutput);
    surface->setListener(this);
    for (int count = 0; count < 2000 && surface; ++count) {
        surface->setBuffers(std::make_shared<SharedBuffers>(40, 30, 1));
        serve();
    }
    EXPECT_FALSE(surface);
}

TEST_F(SharedDesktopTest, LeavesThoseWhoSayNothingAndTheThirtyThird) {
    std::vector<std::unique_ptr<Viewer>> silent;
    for (std::size_t count = 0; count < SharedDesktop::kMaxViewers; ++count) {
        silent.push_back(connect());
    }
    const auto oneMore = connect();
    serve();
    EXPECT_EQ(oneMore->next<Refusal>()->words, "too many programs show wallpapers");
    runForSeconds(6);
    const auto viewer = connect(kOutput);
    EXPECT_THAT(heard, ElementsAre("removed DP-1 100", "added DP-1 40"));
}

TEST_F(SharedDesktopTest, OutlivesAThousandMalformedMessages) {
    const auto before = openDescriptors();
    const std::vector<std::vector<std::uint8_t>> messages = {bytesOf(FromViewer(kOutput)),
                                                             bytesOf(FromViewer(Release{1, 0})),
                                                             bytesOf(FromViewer(Tap{3, 4}))};
    Malformed malformed(2);
    int ends = 0;
    auto viewer = showFrame();
    for (int count = 0; count < 1000; ++count) {
        malformed.send(viewer->socket(), messages);
        serve();
        if (!surface) {
            ++ends;
            viewer.reset();
            serve();
            viewer = showFrame();
        }
    }
    EXPECT_GT(ends, 300);
    viewer->send(Release{1, 0});
    viewer.reset();
    serve();
    surface = nullptr;
    heard.clear();
    EXPECT_LE(openDescriptors(), before);
}

} // namespace
