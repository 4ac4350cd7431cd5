#include "Host/Views/ViewProgram.h"

int main(int argumentCount, char **arguments) {
    return Lumivera::runViewProgram(argumentCount, arguments);
}
