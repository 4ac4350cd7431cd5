#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <optional>
#include <string>

namespace Lumivera {

/// A file name with a place for a number: exactly one %d, or %0Nd with N from 1 to 9.
class NumberPattern {
  public:
    /// Nothing when the path is no such pattern: no or several places, another per cent sign, or
    /// a place that is not in the last part of the path.
    static std::optional<NumberPattern> parse(const std::string &path);

    std::string pathFor(NSUInteger number) const;

  private:
    std::string _before;
    std::string _after;
    std::size_t _width = 0;
};

} // namespace Lumivera
