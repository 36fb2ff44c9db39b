#pragma once

#include <string>

namespace BigEndian
{

/// Network byte order.
template <class Integer>
void Append(std::string& text, Integer value)
{
    for (int shift = 8 * (static_cast<int>(sizeof value) - 1); shift >= 0; shift -= 8)
        text += static_cast<char>((value >> shift) & 0xFF);
}

} // namespace BigEndian
