#pragma once

#include "Platform/Foundation/PropertyList.h"

#include <cstdint>
#include <optional>
#include <span>

/// See readPropertyList.
std::optional<PropertyList> readXMLPropertyList(std::span<const std::uint8_t> bytes);
