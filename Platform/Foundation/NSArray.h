#pragma once

#include "Platform/Foundation/NSObject.h"

#include <utility>
#include <vector>

/// A list of values that never changes, as an object: for lists whose identity matters or that may
/// be missing. Any thread.
template <class T> class NSArray final : public NSObject {
  public:
    explicit NSArray(std::vector<T> items) : _items(std::move(items)) {}

    NSUInteger count() const noexcept { return _items.size(); }

    /// `index` below count().
    const T &objectAtIndex(NSUInteger index) const noexcept { return _items[index]; }

    const std::vector<T> &items() const noexcept { return _items; }

  private:
    ~NSArray() override = default;

    const std::vector<T> _items;
};
