#include "Animation/DeskTopView/UpdateOperation.h"

void UpdateOperation::main() {
    if (const auto asked = delegate(); !asked || !asked->respondsToSelector("runLoop")) {
        return;
    }
    if (const auto driven = delegate()) {
        driven->runLoop();
    }
}
