#include "Host/Support/Printing.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

TEST(ProgressBar, TellsTheTimeLeft) {
    EXPECT_EQ(ProgressBar::line("x", 50, 200, 10),
              "x [#######-----------------------] 25% 0:30 left");
    EXPECT_EQ(ProgressBar::line("x", 200, 200, 90),
              "x [##############################] 100% 0:00 left");
}

TEST(ProgressBar, GuessesNothingBeforeTheFirstStep) {
    EXPECT_EQ(ProgressBar::line("x", 0, 9, 5), "x [------------------------------] 0%");
    EXPECT_EQ(ProgressBar::line("x", 0, 0, 5), "x [------------------------------] 0%");
}

} // namespace
