#include "Host/Displays/SDL/SDLMessage.h"

#include "Host/Support/HostError.h"

#include <SDL.h>
#include <cstdlib>
#include <vector>

namespace Lumivera {

namespace {

constexpr int kNo = 0;
constexpr int kYes = 1;

constexpr const char *kAdvice = "use the command in a terminal, without --window";

bool isSet(const char *variable) {
    const char *value = std::getenv(variable);
    return value && *value != '\0';
}

/// The number of the button; -1 when the window was closed. Without a display SDL could start a
/// program for the message, and would not notice that it fails.
int show(const std::string &title, const std::string &text,
         const std::vector<SDL_MessageBoxButtonData> &buttons) {
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) {
        throw HostError("window", "there is no display", kAdvice);
    }
    SDL_MessageBoxData message{};
    message.flags = SDL_MESSAGEBOX_INFORMATION | SDL_MESSAGEBOX_BUTTONS_LEFT_TO_RIGHT;
    message.title = title.c_str();
    message.message = text.c_str();
    message.numbuttons = static_cast<int>(buttons.size());
    message.buttons = buttons.data();
    int button = -1;
    if (SDL_ShowMessageBox(&message, &button) != 0) {
        throw HostError("window", std::string("cannot be opened: ") + SDL_GetError(), kAdvice);
    }
    return button;
}

} // namespace

bool SDLMessage::ask(const std::string &title, const std::string &text, const std::string &yes) {
    return show(title, text,
                {{SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT, kNo, "Cancel"},
                 {SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT, kYes, yes.c_str()}}) == kYes;
}

void SDLMessage::tell(const std::string &title, const std::string &text) {
    show(title, text,
         {{SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT | SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT, kYes,
           "Close"}});
}

} // namespace Lumivera
