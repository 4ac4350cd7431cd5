#include "Host/Displays/X11/X11Density.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

TEST(X11Density, IsANinetySixthOfTheDotsPerInch) {
    EXPECT_EQ(densityFromX11Settings("Xft.antialias:\t1\nXft.dpi:\t144\nXft.rgba:\tnone\n"), 1.5);
    EXPECT_EQ(densityFromX11Settings("Xft.dpi: 96"), 1.0);
}

TEST(X11Density, IsNotSaidByOtherSettings) {
    EXPECT_FALSE(densityFromX11Settings(""));
    EXPECT_FALSE(densityFromX11Settings("*Xft.dpi: 144\nXft.dpix: 3\n"));
}

TEST(X11Density, IsNotTakenFromNonsense) {
    for (const char *value : {"", " ", " many", " 0", " -96", " nan", " inf", " 1e300"}) {
        EXPECT_FALSE(densityFromX11Settings(std::string("Xft.dpi:") + value)) << value;
    }
}

} // namespace
