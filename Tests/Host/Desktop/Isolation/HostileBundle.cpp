#include "Tests/Host/Desktop/Isolation/HostileBundle.h"

#include "Tests/Host/Programs/ProgramRun.h"

#include <filesystem>
#include <fstream>

std::string hostileBundle(const std::string &folder, const std::string &deed) {
    const std::string path = folder + "/" + deed + ".bundle";
    std::filesystem::create_directories(path);
    std::ofstream(path + "/description.plist")
        << propertyList("<key>name Library</key><string>hostile.so</string>");
    std::filesystem::copy_file(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libHostileWallpaper.so",
                               path + "/hostile.so");
    return path;
}
