#pragma once

/// Name of this library, as the log's file field carries it.
namespace DllInfo {
inline constexpr const char *sDllName = "libTARN.VisualizedService.so";
}
