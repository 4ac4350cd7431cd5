#pragma once

#include "Benchmarks/Platform/Compositor/Comparison/Contender.h"
#include "Benchmarks/Platform/Compositor/Comparison/PetalReference.h"

#include <cstdio>

/// All contenders with one scene, taking turns, so that whatever else the machine does meets
/// everyone alike.
class Race {
  public:
    struct Size {
        int width;
        int height;
        int petals;
    };

    /// Draws the scene once with each contender, and looks how far it is from the reference. Only
    /// those with a name that begins so take part.
    Race(const Size &size, const std::string &beginning);

    /// Each contender's turn takes several milliseconds.
    void run(int rounds);

    /// Our pictures are what they should be: at most 3 levels from the reference anywhere, and less
    /// than 0.1 on average. Where others are not, the table says so.
    bool oursAgree() const;

    /// For people, and, under the heading given, for programs.
    void print() const;
    static const char *csvHeading();
    void writeCsv(std::FILE *file) const;

  private:
    struct Range {
        double least;
        double median;
        double most;
    };

    struct Lane {
        std::string name;
        std::unique_ptr<Contender> contender;
        PetalReference::Difference difference;
        int framesATurn = 1;
        /// Of processor time a frame, each turn.
        std::vector<double> milliseconds;
    };

    static Range rangeOf(std::vector<double> values);
    double takeTurn(Lane &lane);
    Range ratiosOf(const Lane &lane) const;
    static bool agrees(const Lane &lane);
    static bool isOurs(const Lane &lane);

    Size _size;
    PetalScene _scene;
    std::vector<Lane> _lanes;

    // The one that all are compared with.
    std::size_t _measure = 0;
};
