#include "Host/Desktop/Isolation/ViewProgram.h"

#ifdef __SANITIZE_ADDRESS__
/// The leak check at exit needs system calls that the sandbox refuses.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() { return 1; }
#endif

int main(int argumentCount, char **arguments) {
    return Lumivera::runViewProgram(argumentCount, arguments);
}
