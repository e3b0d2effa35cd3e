// The places of virtual functions, which are part of the binary interface between modules.
#pragma once

#include <array>
#include <bit>
#include <cstddef>

namespace TestSupport {

/// The slot of a virtual function in the table of its class, counted from 0.
template <typename Function>
std::ptrdiff_t SlotOf(Function function)
{
    // A pointer to a virtual member function holds 1 + the offset of its slot in the table (Itanium C++ ABI).
    return (std::bit_cast<std::array<std::ptrdiff_t, 2>>(function)[0] - 1) /
           static_cast<std::ptrdiff_t>(sizeof(void*));
}

/// The same, counted from 0 behind the two slots of a virtual destructor that stands first.
template <typename Function>
std::ptrdiff_t SlotBehindDestructor(Function function)
{
    return SlotOf(function) - 2;
}

} // namespace TestSupport
