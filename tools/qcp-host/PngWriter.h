#pragma once
#include <cstdint>
#include <string>

namespace qcphost {

// Writes tightly packed B G R A pixels as an RGBA PNG file.
bool WritePng(const std::string& path, const uint8_t* bgra, uint32_t width, uint32_t height);

} // namespace qcphost
