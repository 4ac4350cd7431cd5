#include "Host/Support/DescriptorThread.h"

#include "Tests/Host/Support/RealTimeLoop.h"

#include <gtest/gtest.h>

#include <optional>
#include <unistd.h>

using namespace Lumivera;

namespace {

/// A pipe whose reading end is a source.
class Pipe final : public DescriptorSource {
  public:
    Pipe() { EXPECT_EQ(pipe(_ends), 0); }
    ~Pipe() {
        close(_ends[0]);
        endWriting();
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    void send() const { EXPECT_EQ(write(_ends[1], "x", 1), 1); }
    void endWriting() {
        close(_ends[1]);
        _ends[1] = -1;
    }
    int served() const { return _served; }
    int ends() const { return _endsSeen; }

  private:
    int descriptor() const override { return _ends[0]; }
    void serve() override {
        char byte;
        ++(read(_ends[0], &byte, 1) == 1 ? _served : _endsSeen);
    }

    int _ends[2] = {-1, -1};
    int _served = 0;
    int _endsSeen = 0;
};

class DescriptorThreadTest : public ::testing::Test {
  protected:
    DescriptorThread _thread;
    Pipe _first;
    Pipe _second;
};

TEST_F(DescriptorThreadTest, ServesASourceOnceForEachThingThatArrives) {
    _thread.add(_first);
    _thread.add(_second);
    for (int count = 1; count <= 3; ++count) {
        _first.send();
        ASSERT_TRUE(serveUntil([&] { return _first.served() == count; }));
    }
    EXPECT_EQ(_second.served(), 0);
    _thread.remove(_first);
    _thread.remove(_second);
}

TEST_F(DescriptorThreadTest, ServesASourceWhoseOtherEndWasClosed) {
    _thread.add(_first);
    _first.endWriting();
    EXPECT_TRUE(serveUntil([&] { return _first.ends() > 0; }));
    _thread.remove(_first);
}

TEST_F(DescriptorThreadTest, ServesNoSourceThatWasRemovedAfterSomethingArrived) {
    _thread.add(_first);
    _thread.add(_second);
    _first.send();
    _thread.remove(_first);
    _second.send();
    EXPECT_TRUE(serveUntil([&] { return _second.served() == 1; }));
    EXPECT_EQ(_first.served(), 0);
    _thread.remove(_second);
}

TEST_F(DescriptorThreadTest, TakesASourceAnew) {
    _thread.add(_first);
    _thread.remove(_first);
    _thread.add(_first);
    _first.send();
    EXPECT_TRUE(serveUntil([&] { return _first.served() == 1; }));
    _thread.remove(_first);
}

TEST_F(DescriptorThreadTest, LeavesNothingBehindThatWouldBeServedLater) {
    std::optional<DescriptorThread> other(std::in_place);
    other->add(_first);
    _first.send();
    other.reset();
    NSRunLoop::mainRunLoop().runForSeconds(0.02);
    EXPECT_EQ(_first.served(), 0);
}

} // namespace
