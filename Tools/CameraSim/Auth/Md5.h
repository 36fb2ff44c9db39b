#pragma once

#include <string>
#include <string_view>

namespace Md5
{

/// The hash as 32 lower-case hexadecimal digits. Any thread.
std::string Hex(std::string_view bytes);

} // namespace Md5
