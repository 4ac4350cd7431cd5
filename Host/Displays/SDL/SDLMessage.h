#pragma once

#include <string>

namespace Lumivera {

/// Messages in small windows of their own, which wait for a click or a key. Main thread. A
/// HostError where no window can be opened.
class SDLMessage {
  public:
    SDLMessage() = delete;

    /// True for the button `yes`; false for the other one, for escape and for a closed window.
    static bool ask(const std::string &title, const std::string &text, const std::string &yes);

    static void tell(const std::string &title, const std::string &text);
};

} // namespace Lumivera
