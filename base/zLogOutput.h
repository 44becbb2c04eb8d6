#pragma once
#include <string_view>

// Where the base library's trace and user log are echoed: standard error when
// QCP_LOG is "stderr" (or "-"), the file it names otherwise, nowhere when unset.
namespace zLogOutput {
void Write(std::string_view channel, std::string_view text);
}
