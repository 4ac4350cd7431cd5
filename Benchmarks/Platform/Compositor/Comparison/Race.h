#pragma once

#include "Benchmarks/Platform/Compositor/Comparison/Contender.h"
#include "Benchmarks/Platform/Compositor/Comparison/PetalReference.h"

#include <cstdio>

/// Measures all contenders with one scene. They take turns, so that other load on the machine slows
/// all of them alike.
class Race {
  public:
    struct Size {
        int width;
        int height;
        int petals;
    };

    /// Draws the scene once with each contender, and compares the picture with the reference. Only
    /// contenders whose name has that beginning take part.
    Race(const Size &size, const std::string &beginning);

    /// Gives each contender that many turns of several milliseconds.
    void run(int rounds);

    /// Whether our pictures are right: at most 3 levels from the reference anywhere, and less than
    /// 0.1 on average. Where others are not, the table says so.
    bool oursAgree() const;

    /// Prints a table for people; writes lines under csvHeading() for programs.
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
        /// Processor time a frame, one value for each turn.
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

    // The index of the lane that all are compared with.
    std::size_t _measure = 0;
};
