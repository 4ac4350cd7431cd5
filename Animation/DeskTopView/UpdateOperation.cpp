#include "Animation/DeskTopView/UpdateOperation.h"

void UpdateOperation::main() {
    if (const auto asked = delegate(); !asked || !asked->respondsToSelector("runLoop")) {
        return;
    }
    if (auto driven = delegate()) {
        driven.leak()->runLoop();
    }
}
