#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

using SoakRandom = std::mt19937;

/// A number from `first` to `last`.
inline int RandomNumber(SoakRandom& random, int first, int last)
{
    return std::uniform_int_distribution<int>(first, last)(random);
}
/// True `percent` times in a hundred.
inline bool RandomChance(SoakRandom& random, int percent)
{
    return RandomNumber(random, 1, 100) <= percent;
}
template <class Container>
const auto& RandomElement(SoakRandom& random, const Container& elements)
{
    return elements[static_cast<std::size_t>(RandomNumber(random, 0, static_cast<int>(std::size(elements)) - 1))];
}

enum class SoakFamily
{
    Ipela,
    Axis,
    Nobody, ///< a port at which nobody listens
};

/// A simulator that runs as a process of its own, as the clients and its own control interface see it.
struct SoakCamera
{
    SoakFamily family = SoakFamily::Ipela;
    std::wstring name; ///< sessions are shared by name: each Axis camera has another one
    std::uint16_t port = 0;
    std::uint16_t controlPort = 0;
    bool hasPassword = false; ///< admin, secret
};

/// FAMILY,NAME,PORT,CONTROLPORT[,password], as the programs are told. Throws std::runtime_error for anything else.
SoakCamera ParseCamera(const std::string& text);

/// Makes a camera misbehave through its control interface. One thread.
namespace Mischief
{
/// One fault, chosen at random, for the next requests, or a change of mind: all faults taken back, all sessions ended.
/// With `only`, faults "KIND@PATH*COUNT" as the simulator reads them, one of those. Throws std::runtime_error when the
/// simulator does not obey.
void Make(const SoakCamera& camera, SoakRandom& random, const std::vector<std::string>& only);
/// The camera behaves from now on.
void End(const SoakCamera& camera);
/// How many beats of a keep-alive (RTSP OPTIONS, for which the component has no other use) the camera has had since it
/// was asked last. Its journal holds no more than 20,000 requests.
std::uint32_t TakeKeepAlives(const SoakCamera& camera);
} // namespace Mischief
