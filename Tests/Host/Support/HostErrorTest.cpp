#include "Host/Support/HostError.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

TEST(HostError, IsOneLineWhateverItNames) {
    EXPECT_STREQ(HostError("a\nb", "broke\t", "mend\x1b it").what(),
                 R"(a\nb: broke\t; mend\x1b it)");
}

TEST(HostError, LeavesTheAdviceOutWhenThereIsNone) {
    EXPECT_STREQ(HostError("a", "broke").what(), "a: broke");
}

} // namespace
