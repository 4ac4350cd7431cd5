#include "Platform/QuartzCore/CAMediaTime.h"

#include "Platform/Foundation/Clock.h"

NSTimeInterval CACurrentMediaTime() {
    return static_cast<NSTimeInterval>(Clock::current().now()) / 1e9;
}
