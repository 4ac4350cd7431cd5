#include "Host/Desktop/Isolation/ViewProgram.h"

#ifdef __SANITIZE_ADDRESS__
/// Looking for leaks at the end takes rights that the process has given up by then.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() { return 1; }
#endif

int main(int argumentCount, char **arguments) {
    return Lumivera::runViewProgram(argumentCount, arguments);
}
