#pragma once

#include "Platform/Foundation/PropertyList.h"
#include "Platform/Foundation/Retained.h"
#include "Platform/Foundation/TreeLock.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

/// Property-list values by key, as an object: for a dictionary that may be missing. Never changes.
/// Any thread.
class PLATFORM_EXPORT NSDictionary final : public NSObject {
  public:
    explicit NSDictionary(PropertyList::Dictionary entries);

    /// The dictionary at the root of a property-list file. Null when the file is missing,
    /// unreadable or no property list (see readPropertyList), or when its root is something else.
    static Retained<NSDictionary> dictionaryWithContentsOfFile(const std::string &path);

    /// Null when there is no such key. Valid as long as the dictionary.
    const PropertyList *objectForKey(std::string_view key) const;

    const PropertyList::Dictionary &entries() const noexcept { return _entries; }

  private:
    ~NSDictionary() override;

    const PropertyList::Dictionary _entries;
};

/// Objects by name, owned by the dictionary. Shared like the view tree: the main thread uses it
/// freely, other threads between the main thread's call-outs.
template <class T> class NSMutableDictionary final : public NSObject {
  public:
    explicit NSMutableDictionary(NSUInteger capacity = 0) { _objects.reserve(capacity); }

    /// Null when there is no object of that name.
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
