#pragma once

#include "Platform/Foundation/PropertyList.h"

#include <cstdint>
#include <optional>
#include <span>

/// True when the bytes begin like a binary property list.
bool isBinaryPropertyList(std::span<const std::uint8_t> bytes);

/// See readPropertyList. `bytes` begin like a binary property list.
std::optional<PropertyList> readBinaryPropertyList(std::span<const std::uint8_t> bytes);
