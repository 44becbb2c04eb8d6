#pragma once
#include <string>

namespace zIDGenerator {
// A random (version 4) UUID in upper-case text, 36 characters.
std::string GenerateUUID();
} // namespace zIDGenerator
