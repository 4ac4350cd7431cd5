#include "Host/Desktop/Backgrounds/DesktopProgram.h"

namespace Lumivera {

namespace {

bool isUnreserved(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-._~/").find(c) != std::string_view::npos;
}

} // namespace

std::string DesktopProgram::noteAbout(const DesktopPictures &) const { return {}; }

std::string DesktopProgram::groupOf(const std::string &) const { return {}; }

std::vector<std::unique_ptr<DesktopProgram>> allDesktopPrograms() {
    std::vector<std::unique_ptr<DesktopProgram>> programs;
    programs.push_back(makeXfdesktopProgram());
    programs.push_back(makeCajaProgram());
    programs.push_back(makeGnomeFlashbackProgram());
    programs.push_back(makePcmanfmProgram());
    programs.push_back(makePcmanfmQtProgram());
    programs.push_back(makePlasmaProgram());
    return programs;
}

std::string fileURI(std::string_view path) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string uri = "file://";
    for (const char c : path) {
        if (isUnreserved(c)) {
            uri += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return uri;
}

} // namespace Lumivera
