#pragma once

#include "Benchmarks/Platform/Compositor/Comparison/Contender.h"
#include "Benchmarks/Platform/Compositor/Comparison/PetalReference.h"

#include <cstdio>

/// Lets all contenders draw one scene in turns, so that whatever else the machine does affects all
/// alike.
class Race {
  public:
    struct Size {
        int width;
        int height;
        int petals;
    };

    /// Draws the scene once with each contender whose name begins so, and measures how far it is
    /// from the reference.
    Race(const Size &size, const std::string &beginning);

    /// Runs the rounds. Each contender's turn takes several milliseconds.
    void run(int rounds);

    /// True when our pictures are at most 3 levels from the reference anywhere, and less than 0.1
    /// on average. The table marks others that are not.
    bool oursAgree() const;

    /// Prints the result as a table for people, and as CSV for programs.
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
        /// Processor time per frame of each turn.
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

    // The contender that all others are compared with.
    std::size_t _measure = 0;
};
