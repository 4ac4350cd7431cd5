#include "Host/Program.h"

int main(int argumentCount, char **arguments) {
    return Lumivera::runProgram(argumentCount, arguments);
}
