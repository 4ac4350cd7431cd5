#include "Tests/Host/Displays/Wayland/WaylandDesktopTest.h"

#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

using namespace Lumivera;

namespace {

constexpr double kTimeoutSeconds = 20;
constexpr double kLookSeconds = 0.005;

} // namespace

SurfaceRecorder::SurfaceRecorder(DesktopSurface &heardOf) : surface(heardOf) {
    surface.setListener(this);
}

void SurfaceRecorder::surfaceGeometryChanged() {
    const SurfaceGeometry geometry = surface.geometry();
    heard += "geometry " + std::to_string(geometry.width) + "x" + std::to_string(geometry.height) +
             "*" + std::to_string(std::lround(geometry.density * 120)) + ",";
    if (givesMemory) {
        giveMemory();
    }
}

void SurfaceRecorder::surfaceVisibilityChanged() {
    static constexpr const char *kNames[] = {"visible,", "covered,", "full,", "off,"};
    heard += kNames[static_cast<int>(surface.visibility())];
}

void SurfaceRecorder::bufferWanted(unsigned index) {
    wanted = index;
    wishes += std::to_string(index);
}

void SurfaceRecorder::tapped(CGPoint point) {
    heard += "tap " + std::to_string(std::lround(point.x)) + " " +
             std::to_string(std::lround(point.y)) + ",";
}

void SurfaceRecorder::scrolledBy(CGFloat distance) {
    heard += "scroll " + std::to_string(std::lround(distance)) + ",";
}

void SurfaceRecorder::scrollingEnded() { heard += "end,"; }

void SurfaceRecorder::draw(std::uint32_t color, const std::vector<DeviceRect> &rects) {
    if (wanted) {
        const unsigned index = *wanted;
        wanted.reset();
        std::fill_n(memory->pixels(index), memory->bufferBytes() / 4, color);
        surface.present(index, rects);
    }
}

void SurfaceRecorder::giveMemory() {
    const SurfaceGeometry geometry = surface.geometry();
    wanted.reset();
    memory = std::make_shared<SharedBuffers>(geometry.width, geometry.height, 2);
    surface.setBuffers(memory);
}

void DesktopRecorder::outputAdded(DesktopSurface &surface) {
    heard += "+" + surface.outputName() + ",";
    surfaces.push_back(std::make_unique<SurfaceRecorder>(surface));
}

void DesktopRecorder::outputRemoved(DesktopSurface &surface) {
    heard += "-" + surface.outputName() + ",";
    std::erase_if(surfaces, [&](const auto &known) { return &known->surface == &surface; });
}

void DesktopRecorder::desktopLost(const std::string &reason) { losses.push_back(reason); }

WaylandDesktopTest::WaylandDesktopTest() = default;

WaylandDesktopTest::~WaylandDesktopTest() = default;

TestCompositor &WaylandDesktopTest::compositor(const TestCompositor::Options &options) {
    if (!_compositor) {
        _compositor = std::make_unique<TestCompositor>(options);
    }
    return *_compositor;
}

void WaylandDesktopTest::connect(LayerChoice choice) {
    _desktop = std::make_unique<WaylandDesktop>(_waiter, choice);
    _desktop->setListener(&recorder);
}

void WaylandDesktopTest::begin(const TestCompositor::Options &options,
                               const TestCompositor::Mode &mode) {
    compositor(options).addOutput("A", mode);
    connect();
    ASSERT_TRUE(runUntil([&] { return compositor().surfaces().size() == 1; }));
    const auto points = [&](int pixels) { return static_cast<unsigned>(pixels / mode.scale); };
    compositor().configure("A", points(mode.width), points(mode.height));
    ASSERT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
}

bool WaylandDesktopTest::runUntil(const std::function<bool()> &condition) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    const Clock::Nanoseconds end = Clock::current().deadlineAfter(kTimeoutSeconds);
    while (!condition()) {
        if (Clock::current().now() >= end) {
            return false;
        }
        loop.runNextCall(Clock::current().deadlineAfter(kLookSeconds));
    }
    return true;
}

/// Events arrive in order, so an output that comes and goes is the last thing that is heard.
void WaylandDesktopTest::catchUp() {
    const std::string mark = "mark" + std::to_string(++_marks);
    compositor().addOutput(mark, {});
    ASSERT_TRUE(runUntil([&] { return recorder.heard.find("+" + mark) != std::string::npos; }));
    compositor().removeOutput(mark);
    ASSERT_TRUE(runUntil([&] { return recorder.heard.find("-" + mark) != std::string::npos; }));
}

void WaylandDesktopTest::show(std::uint32_t color) {
    const int pictures = shown().pictures;
    ASSERT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
    surface().draw(color);
    ASSERT_TRUE(runUntil([&] { return shown().pictures == pictures + 1; }));
}
