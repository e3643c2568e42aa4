#include "terminal.h"

#include "descriptors.h"
#include "text.h"

#include <iostream>

namespace tvkstore {

bool canConfirm() { return isTerminal(kStandardInput); }

bool confirm(std::string const& question) {
    std::cerr << printable(question) << " [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

} // namespace tvkstore
