#include "Platform/Foundation/PropertyListReader.h"

#include "Platform/Foundation/BinaryPropertyListReader.h"
#include "Platform/Foundation/XMLPropertyListReader.h"

std::optional<PropertyList> readPropertyList(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > PropertyListLimits::kFileBytes) {
        return std::nullopt;
    }
    return isBinaryPropertyList(bytes) ? readBinaryPropertyList(bytes) : readXMLPropertyList(bytes);
}
