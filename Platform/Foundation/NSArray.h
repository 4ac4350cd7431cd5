#pragma once

#include "Platform/Foundation/Retained.h"
#include "Platform/Foundation/TreeLock.h"

#include <utility>
#include <vector>

/// A list of values that never changes, as an object: for lists whose identity matters or that may
/// be missing. Any thread.
template <class T> class NSArray final : public NSObject {
  public:
    explicit NSArray(std::vector<T> items) : _items(std::move(items)) {}

    NSUInteger count() const noexcept { return _items.size(); }

    /// `index` must be below count().
    const T &objectAtIndex(NSUInteger index) const noexcept { return _items[index]; }

    const std::vector<T> &items() const noexcept { return _items; }

  private:
    ~NSArray() override = default;

    const std::vector<T> _items;
};

/// A growing list of objects that belongs to the view tree: the main thread uses it freely, other
/// threads between the main thread's call-outs. Owns its objects.
template <class T> class NSMutableArray final : public NSObject {
  public:
    explicit NSMutableArray(NSUInteger capacity = 0) { _objects.reserve(capacity); }

    NSUInteger count() const {
        const TreeAccess access;
        return _objects.size();
    }

    /// Not owned by the caller; null beyond the end.
    T *objectAtIndex(NSUInteger index) const {
        const TreeAccess access;
        return index < _objects.size() ? _objects[index].get() : nullptr;
    }

    void addObject(Retained<T> object) {
        const TreeAccess access;
        _objects.push_back(std::move(object));
    }

  private:
    ~NSMutableArray() override = default;

    std::vector<Retained<T>> _objects;
};
