#include "Host/Commands/SizeOptions.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

namespace {

std::string textOf(CGSize size) {
    return std::to_string(static_cast<long>(size.width)) + "x" +
           std::to_string(static_cast<long>(size.height));
}

} // namespace

void SizeOptions::declare(CLI::App &app, const PictureSize &defaults) {
    _size = textOf(defaults.size);
    _density = defaults.density;
    app.add_option("--size", _size, "Width and height in points")
        ->type_name("WxH")
        ->default_str(_size);
    app.add_option("--density", _density, "Pixels a point, 0.1 to 10")
        ->type_name("D")
        ->check(CLI::Range(0.1, 10.0).description(""));
}

PictureSize SizeOptions::pictureSize() const {
    const PictureSize size{sizeFromText(_size), _density};
    size.check();
    return size;
}

} // namespace Lumivera
