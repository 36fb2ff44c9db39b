#include "Fuzz/FuzzTarget.h"

#include <cstddef>
#include <cstdint>

/// What libFuzzer calls with each input; the program holds one target. An exception ends it, and libFuzzer keeps the
/// input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t lengthBytes)
{
    CFuzzTarget::All().front()->Run({reinterpret_cast<const char*>(bytes), lengthBytes});
    return 0;
}
