#pragma once

#include "Benchmarks/Platform/Compositor/Comparison/PetalScene.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// A program part that draws a scene. The scene must outlive it.
class Contender {
  public:
    virtual ~Contender() = default;

    /// Draws the scene as it is now, and returns when the picture is complete.
    virtual void draw() = 0;

    /// The latest picture, row by row: 0xXXRRGGBB.
    virtual PixelBuffer pixels() = 0;
};

struct ContenderKind {
    std::string name;
    std::function<std::unique_ptr<Contender>(const PetalScene &)> make;
};

/// Our compositor in every form that this processor runs, the fastest first: each drawing
/// everything, and drawing only the damage.
std::vector<ContenderKind> ourContenders();

std::vector<ContenderKind> cairoContenders();
std::vector<ContenderKind> pixmanContenders();

/// OpenGL ES; empty where there is no driver.
std::vector<ContenderKind> openGLContenders();
