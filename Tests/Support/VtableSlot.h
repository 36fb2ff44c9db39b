#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

/// Where an operation of a command set stands in the vtable. A pointer to a virtual member function holds one more than
/// its offset (Itanium C++ ABI, 2.3.2).
template <class Member>
std::size_t SlotOf(Member member)
{
    std::uintptr_t word = 0;
    static_assert(sizeof(member) >= sizeof(word));
    std::memcpy(&word, &member, sizeof(word));
    EXPECT_EQ(word % sizeof(void*), 1u) << "not virtual";
    const std::size_t position = (word - 1) / sizeof(void*);
    return position - 1; // the destructor, slot 0, takes two places
}
