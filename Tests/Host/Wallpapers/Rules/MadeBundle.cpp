#include "Tests/Host/Wallpapers/Rules/MadeBundle.h"

#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Programs/ProgramRun.h"

#include <filesystem>
#include <fstream>
#include <vector>

namespace {

constexpr unsigned kPetal = 8;

std::string text(const std::string &words) { return "<string>" + words + "</string>"; }

} // namespace

MadeBundle::MadeBundle()
    : _path(_folder.makeFolder("Made.bundle")), _values{{"name", text("Made")},
                                                        {"author", text("A. Tester")},
                                                        {"summary", text("For a test.")},
                                                        {"license", text("CC0-1.0")},
                                                        {"sakura Count", "<integer>60</integer>"},
                                                        {"falling Speed", "<integer>2</integer>"}} {
    writeDescription();
    const auto drawAll = [this](const std::string &name, unsigned width, unsigned height,
                                Edge edge) {
        draw(name + ".png", width, height, edge);
        draw(name + "@2x.png", 2 * width, 2 * height, edge);
        draw(name + "@3x.png", 3 * width, 3 * height, edge);
    };
    drawAll("lumivera_background_", 500, 4, Edge::Opaque);
    for (const char *name :
         {"flower1", "flower2", "flower3", "petal1", "petal2", "petal3", "petal4"}) {
        drawAll(std::string("lumivera_") + name, kPetal, kPetal, Edge::Clear);
    }
    drawAll("thumbnail", 90, 120, Edge::Opaque);
}

void MadeBundle::set(const std::string &key, const std::string &xml) {
    _values[key] = xml;
    writeDescription();
}

void MadeBundle::writeDescription() const {
    std::string entries;
    for (const auto &[key, xml] : _values) {
        entries += xml.empty() ? "" : "<key>" + key + "</key>" + xml;
    }
    write("description.plist", propertyList(entries));
}

void MadeBundle::write(const std::string &name, const std::string &contents) const {
    std::ofstream(pathOf(name), std::ios::binary) << contents;
}

void MadeBundle::remove(const std::string &name) const { std::filesystem::remove(pathOf(name)); }

void MadeBundle::draw(const std::string &name, unsigned width, unsigned height, Edge edge) const {
    constexpr std::uint32_t kColor = 0xff804020;
    std::vector<std::uint32_t> pixels(std::size_t{width} * height, kColor);
    for (unsigned y = 0; y < height && edge != Edge::Opaque; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const bool isEdge = x == 0 || y == 0 || x + 1 == width || y + 1 == height;
            const bool isMiddle = x == width / 2 && y == height / 2;
            const bool isClear = edge == Edge::AllClear || (edge == Edge::Clear && isEdge) ||
                                 (edge == Edge::Cut && isMiddle);
            pixels[y * width + x] = isClear ? 0 : kColor;
        }
    }
    const auto bytes = encodePNG(pixels.data(), width, height, width, 1);
    write(name, std::string(bytes.begin(), bytes.end()));
}

void MadeBundle::addLibrary(const std::string &pathInBuild) {
    std::filesystem::copy_file(std::string(LUMIVERA_BUILD_DIR "/lib/") + pathInBuild,
                               pathOf("made.so"),
                               std::filesystem::copy_options::overwrite_existing);
    set("name Library", text("made.so"));
}
