#pragma once

#include "Platform/Foundation/PropertyList.h"
#include "Platform/Foundation/Retained.h"

#include <string>
#include <string_view>

/// Property-list values by key, as an object: for a dictionary that may be missing. Never changes.
/// Any thread.
class PLATFORM_EXPORT NSDictionary final : public NSObject {
  public:
    explicit NSDictionary(PropertyList::Dictionary entries);

    /// The dictionary at the root of a property-list file. Null when the file is missing,
    /// unreadable or no property list (see readPropertyList), or when its root is something else.
    static Retained<NSDictionary> dictionaryWithContentsOfFile(const std::string &path);

    /// Null when there is none under that key. Valid as long as the dictionary.
    const PropertyList *objectForKey(std::string_view key) const;

    const PropertyList::Dictionary &entries() const noexcept { return _entries; }

  private:
    ~NSDictionary() override;

    const PropertyList::Dictionary _entries;
};
