#include "Tests/Host/Displays/X11/X11DesktopTest.h"

#include <algorithm>

using namespace Lumivera;

SurfaceOwner::SurfaceOwner(DesktopSurface &shown) : surface(shown) { surface.setListener(this); }

void SurfaceOwner::bufferWanted(unsigned index) {
    EXPECT_FALSE(wanted) << "a picture is wanted twice";
    wanted = index;
}

void SurfaceOwner::giveMemory() {
    const SurfaceGeometry geometry = surface.geometry();
    memory = std::make_shared<SharedBuffers>(geometry.width, geometry.height, 2);
    wanted.reset();
    surface.setBuffers(memory);
}

void SurfaceOwner::show(const DeviceRect &part, std::uint32_t salt) {
    show(part, [salt](int x, int y) { return colorAt(x, y, salt); });
}

void SurfaceOwner::show(const DeviceRect &part, const Color &color) {
    ASSERT_TRUE(wanted);
    const unsigned index = *wanted;
    for (int y = part.top; y < part.bottom; ++y) {
        std::uint32_t *row = memory->pixels(index) + static_cast<std::size_t>(y) * memory->width();
        for (int x = part.left; x < part.right; ++x) {
            row[x] = color(x, y);
        }
    }
    wanted.reset();
    surface.present(index, {part});
}

void SurfaceOwner::showAll(std::uint32_t salt) {
    show({0, 0, static_cast<int>(memory->width()), static_cast<int>(memory->height())}, salt);
}

std::uint32_t SurfaceOwner::colorAt(int x, int y, std::uint32_t salt) {
    const auto column = static_cast<std::uint32_t>(x);
    const auto row = static_cast<std::uint32_t>(y);
    return 0xff000000 | ((column * 7 + salt) & 0xff) << 16 | ((row * 5 + salt) & 0xff) << 8 |
           ((column / 256 * 16 + row / 256 * 64 + salt) & 0xff);
}

void X11DesktopTest::TearDown() {
    desktop.reset();
    waiter.reset();
    X11ScreenTest::TearDown();
}

void X11DesktopTest::open(const Desktop::Options &options) {
    waiter.emplace();
    desktop.emplace(*waiter, options);
    desktop->setListener(this);
}

void X11DesktopTest::openWithPicture(const Desktop::Options &options) {
    open(options);
    owner().giveMemory();
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    owner().showAll(1);
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    ASSERT_TRUE(served([this] { return pixel(700, 500) == SurfaceOwner::colorAt(700, 500, 1); }));
}

void X11DesktopTest::outputAdded(DesktopSurface &surface) {
    owners.push_back(std::make_unique<SurfaceOwner>(surface));
}

void X11DesktopTest::outputRemoved(DesktopSurface &surface) {
    std::erase_if(owners, [&](const auto &owner) { return &owner->surface == &surface; });
}

bool X11DesktopTest::isVisibility(SurfaceVisibility visibility) {
    return served([&] { return owner().surface.visibility() == visibility; });
}

SurfaceOwner *X11DesktopTest::ownerOf(const std::string &output) {
    const auto found = std::find_if(owners.begin(), owners.end(), [&](const auto &owner) {
        return owner->surface.outputName() == output;
    });
    return found == owners.end() ? nullptr : found->get();
}
