#include "Platform/Foundation/NSDictionary.h"

#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/PropertyList.h"

#include <utility>

NSDictionary::NSDictionary(PropertyList::Dictionary entries) : _entries(std::move(entries)) {}

NSDictionary::~NSDictionary() = default;

Retained<NSDictionary> NSDictionary::dictionaryWithContentsOfFile(const std::string &path) {
    const auto bytes = readFile(path, PropertyListLimits::kMaxFileBytes);
    const auto root = bytes ? readPropertyList(*bytes) : std::nullopt;
    const PropertyList::Dictionary *entries = root ? root->dictionary() : nullptr;
    return entries ? makeRetained<NSDictionary>(*entries) : nullptr;
}

const PropertyList *NSDictionary::objectForKey(std::string_view key) const {
    const auto entry = _entries.find(key);
    return entry == _entries.end() ? nullptr : &entry->second;
}
