#pragma once

#include "Platform/Foundation/Retained.h"
#include "Platform/Foundation/TreeLock.h"

#include <string>
#include <unordered_map>

/// Objects by name, owned by the dictionary. Shared like the view tree: the main thread uses it
/// freely, other threads between the main thread's call-outs.
template <class T> class NSMutableDictionary final : public NSObject {
  public:
    explicit NSMutableDictionary(NSUInteger capacity = 0) { _objects.reserve(capacity); }

    /// Null when there is none under that name.
    Retained<T> objectForKey(const std::string &key) const {
        const TreeAccess access;
        const auto entry = _objects.find(key);
        return entry == _objects.end() ? nullptr : entry->second;
    }

    void setObject_forKey(Retained<T> object, const std::string &key) {
        const TreeAccess access;
        std::swap(_objects[key], object);
    }

    void removeAllObjects() {
        Objects removed;
        const TreeAccess access;
        removed.swap(_objects);
    }

    NSUInteger count() const {
        const TreeAccess access;
        return _objects.size();
    }

  private:
    using Objects = std::unordered_map<std::string, Retained<T>>;

    ~NSMutableDictionary() override = default;

    Objects _objects;
};
