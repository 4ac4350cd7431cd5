#include "Host/Commands/Installing/TerminalQuestion.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <iostream>
#include <unistd.h>

namespace Lumivera {

bool askInTerminal(const std::string &subject, const std::string &about,
                   const std::string &question) {
    if (isatty(STDIN_FILENO) == 0) {
        throw UsageError(subject, "nobody can be asked, because the input is no terminal",
                         "give --yes if you want it without a question");
    }
    printToStandardOutput(about + question + " [y/N] ");
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes";
}

} // namespace Lumivera
