#include "Tests/Host/Desktop/Isolation/HostileBundle.h"

#include "Tests/Host/Programs/ProgramRun.h"

#include <filesystem>
#include <fstream>

std::string hostileBundle(const std::string &folder, const std::string &deed) {
    const std::string path = folder + "/" + deed + ".bundle";
    std::filesystem::create_directories(path);
    std::ofstream(path + "/description.plist")
        << propertyList("<key>name Library</key><string>hostile.so</string>");
    const std::string libraries = LUMIVERA_BUILD_DIR "/lib/test-wallpapers/lib";
    const std::string own = libraries + deed + ".so";
    std::filesystem::copy_file(std::filesystem::exists(own) ? own
                                                            : libraries + "HostileWallpaper.so",
                               path + "/hostile.so");
    return path;
}
