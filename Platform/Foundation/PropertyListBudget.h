#pragma once

#include "Platform/Foundation/PropertyListReader.h"

/// What is left of a property list's limits while it is being read. Asked before anything is
/// allocated; false when there is not that much left.
class PropertyListBudget {
  public:
    bool takeNodes(std::uint64_t count) { return take(_nodes, count); }
    bool takeContentBytes(std::uint64_t count) { return take(_contentBytes, count); }

  private:
    static bool take(std::uint64_t &left, std::uint64_t count) {
        if (count > left) {
            return false;
        }
        left -= count;
        return true;
    }

    std::uint64_t _nodes = PropertyListLimits::kNodes;
    std::uint64_t _contentBytes = PropertyListLimits::kContentBytes;
};
