#include "Host/Support/Printing.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

TEST(TextTable, AlignsColumnsByCharactersNotBytes) {
    EXPECT_EQ(textTable({{"\xc3\xbc", "b"}, {"aaa", "c"}}), "\xc3\xbc    b\naaa  c\n");
}

} // namespace
