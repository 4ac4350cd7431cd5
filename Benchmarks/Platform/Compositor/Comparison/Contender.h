#pragma once

#include "Benchmarks/Platform/Compositor/Comparison/PetalScene.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// A way to draw a scene. The scene outlives it.
class Contender {
  public:
    virtual ~Contender() = default;

    /// Draws the scene as it is now, and returns when it is done.
    virtual void draw() = 0;

    /// The pixels of the last frame, row by row: 0xXXRRGGBB.
    virtual CGPixels pixels() = 0;
};

struct ContenderKind {
    std::string name;
    std::function<std::unique_ptr<Contender>(const PetalScene &)> make;
};

/// Our compositor in every form that this processor runs, the fastest first: drawing all, and
/// drawing what changed.
std::vector<ContenderKind> ourContenders();

std::vector<ContenderKind> cairoContenders();
std::vector<ContenderKind> pixmanContenders();

/// OpenGL ES; null where there is no driver.
std::vector<ContenderKind> openGLContenders();
