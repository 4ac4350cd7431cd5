#include "Host/Displays/Shared/PictureMessage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

using namespace Lumivera::PictureMessage;

namespace {

using Bytes = std::vector<std::uint8_t>;

Output output() { return {"DP-1", kVersion, 1920, 1080, Visibility::Covered, 1.5}; }

FromViewer fromViewer(const Bytes &bytes) { return parseFromViewer(bytes.data(), bytes.size()); }
FromHost fromHost(const Bytes &bytes) { return parseFromHost(bytes.data(), bytes.size()); }

bool isRefused(const FromViewer &message) {
    return std::holds_alternative<std::monostate>(fromViewer(bytesOf(message)));
}

bool isRefused(const FromHost &message) {
    return std::holds_alternative<std::monostate>(fromHost(bytesOf(message)));
}

Output with(std::uint32_t width, std::uint32_t height) {
    Output changed = output();
    changed.width = width;
    changed.height = height;
    return changed;
}

Output withDensity(double density) {
    Output changed = output();
    changed.density = density;
    return changed;
}

Output withName(const std::string &name) {
    Output changed = output();
    changed.name = name;
    return changed;
}

TEST(PictureMessageTest, ReadsWhatItHasWritten) {
    for (const FromViewer &message :
         {FromViewer(output()), FromViewer(Release{7, 1}), FromViewer(Tap{12.5, -3})}) {
        EXPECT_TRUE(fromViewer(bytesOf(message)) == message);
    }
    for (const FromHost &message :
         {FromHost(Memory{3, 640, 480, 2}), FromHost(Frame{3, 1, {{0, 0, 5, 6}, {7, 8, 640, 480}}}),
          FromHost(Frame{3, 0, {}}), FromHost(Refusal{"no room"})}) {
        EXPECT_TRUE(fromHost(bytesOf(message)) == message);
    }
}

TEST(PictureMessageTest, HasTheLayoutThatThePageTells) {
    const Bytes bytes = bytesOf(FromViewer(Release{7, 1}));
    const std::uint32_t expected[] = {2, 16, 7, 1};
    ASSERT_EQ(bytes.size(), sizeof expected);
    EXPECT_EQ(std::memcmp(bytes.data(), expected, sizeof expected), 0);
    EXPECT_EQ(bytesOf(FromViewer(output())).size(), 96U);
    EXPECT_EQ(bytesOf(FromViewer(Tap{})).size(), 24U);
    EXPECT_EQ(bytesOf(FromHost(Memory{})).size(), 24U);
    EXPECT_EQ(bytesOf(FromHost(Frame{0, 0, {{0, 0, 1, 1}}})).size(), 40U);
    EXPECT_EQ(bytesOf(FromHost(Refusal{})).size(), 128U);
}

TEST(PictureMessageTest, RefusesOutputsThatNoScreenHas) {
    EXPECT_FALSE(isRefused(FromViewer(with(kMaxSide, 4096))));
    for (const Output &wrong :
         {with(0, 1), with(1, 0), with(kMaxSide + 1, 1), with(kMaxSide, kMaxSide), withDensity(0),
          withDensity(-1), withDensity(11), withDensity(std::numeric_limits<double>::quiet_NaN()),
          withDensity(std::numeric_limits<double>::infinity())}) {
        EXPECT_TRUE(isRefused(FromViewer(wrong)));
    }
    Output invisible = output();
    invisible.visibility = static_cast<Visibility>(4);
    EXPECT_TRUE(isRefused(FromViewer(invisible)));
}

TEST(PictureMessageTest, RefusesNamesThatAreNoText) {
    EXPECT_FALSE(isRefused(FromViewer(withName("Bildschirm \xe6\xbc\xa2"))));
    EXPECT_FALSE(isRefused(FromViewer(withName("21\xc2\xb0 \xf0\x9f\x8c\xb8"))));
    EXPECT_FALSE(isRefused(FromViewer(withName(std::string(kMaxName, 'x')))));
    for (const char *wrong :
         {"", "a\nb", "\x7f", "\xff", "\xc2\x85", "\xe6\xbc", "\x80", "\xc0\xaf", "\xe0\x80\x80",
          "\xed\xa0\x80", "\xf0\x80\x80\x80", "\xf4\x90\x80\x80"}) {
        EXPECT_TRUE(isRefused(FromViewer(withName(wrong)))) << wrong;
    }
    Bytes behindTheEnd = bytesOf(FromViewer(output()));
    behindTheEnd.back() = 'x';
    EXPECT_TRUE(std::holds_alternative<std::monostate>(fromViewer(behindTheEnd)));
}

TEST(PictureMessageTest, ShortensToWholeCharacters) {
    EXPECT_EQ(shortened("21\xc2\xb0", 4), "21\xc2\xb0");
    EXPECT_EQ(shortened("21\xc2\xb0", 3), "21");
    EXPECT_EQ(shortened("21\xc2\xb0", 2), "21");
    EXPECT_EQ(shortened("\xc2\xb0", 1), "");
    const Bytes cut = bytesOf(FromHost(Refusal{std::string(kMaxWords - 1, 'x') + "\xc2\xb0"}));
    EXPECT_FALSE(std::holds_alternative<std::monostate>(parseFromHost(cut.data(), cut.size())));
}

TEST(PictureMessageTest, RefusesTapsNowhere) {
    for (const double wrong : {std::numeric_limits<double>::quiet_NaN(), 1e300, -1e300}) {
        EXPECT_TRUE(isRefused(FromViewer(Tap{wrong, 0})));
        EXPECT_TRUE(isRefused(FromViewer(Tap{0, wrong})));
    }
}

TEST(PictureMessageTest, RefusesMemoryAndFramesBeyondTheLimits) {
    for (const Memory &wrong : {Memory{1, 0, 1, 1}, Memory{1, 1, 1, 0}, Memory{1, 1, 1, 5},
                                Memory{1, kMaxSide, kMaxSide, 1}}) {
        EXPECT_TRUE(isRefused(FromHost(wrong)));
    }
    for (const Rect &wrong : {Rect{-1, 0, 1, 1}, Rect{0, 0, 0, 1}, Rect{5, 0, 4, 1},
                              Rect{0, 0, 1, static_cast<std::int32_t>(kMaxSide) + 1},
                              Rect{0, std::numeric_limits<std::int32_t>::min(), 1,
                                   std::numeric_limits<std::int32_t>::max()}}) {
        EXPECT_TRUE(isRefused(FromHost(Frame{1, 0, {wrong}})));
    }
    EXPECT_TRUE(isRefused(FromHost(Frame{1, kMaxBuffers, {}})));
    EXPECT_FALSE(isRefused(FromHost(Frame{1, 0, std::vector<Rect>(kMaxRects, {0, 0, 1, 1})})));
    EXPECT_TRUE(isRefused(FromHost(Frame{1, 0, std::vector<Rect>(kMaxRects + 1, {0, 0, 1, 1})})));
}

TEST(PictureMessageTest, RefusesEveryOtherLength) {
    const Bytes whole = bytesOf(FromHost(Frame{1, 0, {{0, 0, 1, 1}, {1, 1, 2, 2}}}));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_TRUE(std::holds_alternative<std::monostate>(fromHost(part))) << length;
    }
    Bytes longer = whole;
    longer.push_back(0);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(fromHost(longer)));
    EXPECT_TRUE(std::holds_alternative<std::monostate>(fromViewer(whole))) << "of the other side";
}

TEST(PictureMessageTest, ClipsDamageToThePicture) {
    EXPECT_EQ(
        clipped({{-5, -5, 5, 5}, {90, 90, 120, 130}, {200, 0, 210, 5}, {3, 3, 3, 9}}, 100, 100),
        (std::vector<Rect>{{0, 0, 5, 5}, {90, 90, 100, 100}}));
    EXPECT_EQ(clipped(std::vector<Rect>(kMaxRects + 1, {1, 1, 2, 2}), 10, 20),
              (std::vector<Rect>{{0, 0, 10, 20}}));
}

} // namespace
