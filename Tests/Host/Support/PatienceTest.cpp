#include "Host/Support/Patience.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Support/DeadFileSystem.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <memory>
#include <string>

using namespace Lumivera;

namespace {

TEST(Patience, GivesTheResult) {
    EXPECT_EQ(Patience::resultOf<std::string>([] { return std::string("done"); }), "done");
    bool isDone = false;
    EXPECT_TRUE(Patience::finish([&] { isDone = true; }));
    EXPECT_TRUE(isDone);
}

TEST(Patience, PassesAFailureOn) {
    EXPECT_THROW(Patience::finish([] { throw HostError("x", "is broken"); }), HostError);
}

TEST(Patience, EndsAndBeginsNothingMoreThatMayNotEnd) {
    auto gate = std::make_shared<std::promise<void>>();
    const std::shared_future<void> opened = gate->get_future().share();
    for (int i = 0; i < Patience::kMaxUnfinished; ++i) {
        EXPECT_FALSE(Patience::finish([opened] { opened.wait(); }));
    }
    bool hasRun = false;
    EXPECT_FALSE(Patience::finish([&] { hasRun = true; }));
    EXPECT_FALSE(hasRun);
    gate->set_value();
    while (!Patience::finish([&] { hasRun = true; })) {
    }
    EXPECT_TRUE(hasRun);
}

TEST(Patience, DoesNotWaitForADeadFileSystem) {
    const TemporaryFolder folder;
    const DeadFileSystem dead(folder.makeFolder("dead"));
    if (!dead.problem().empty()) {
        GTEST_SKIP() << dead.problem();
    }
    EXPECT_EQ(Patience::resultOf<bool>([path = dead.pathOf("x")] {
                  std::error_code error;
                  return std::filesystem::exists(path, error);
              }),
              std::nullopt);
}

} // namespace
