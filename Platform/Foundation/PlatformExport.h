#pragma once

/// Marks what libLumiveraPlatform.so shows to the host and to plug-ins; everything else is hidden.
#define PLATFORM_EXPORT __attribute__((visibility("default")))
