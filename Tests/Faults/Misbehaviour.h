#pragma once

#include <string>
#include <vector>

/// The requests that a misbehaviour can spoil.
enum Spoiled : unsigned
{
    kCgi = 1,
    kTunnelGet = 2,
    kTunnelPost = 4,
    kRtsp = 8
};

/// One way in which a camera, or the network before it, misbehaves. Data; the simulator does it.
struct Misbehaviour
{
    std::string name;
    const char* kind; ///< rows of one kind stand together
    unsigned spoils;
    std::vector<std::string> faults; ///< of the simulator, without path; none: the camera's port is closed
    const char* header = nullptr;    ///< "NAME: VALUE" of what replaces the camera's answer
    bool keepsComing = false; ///< the reply grows all the time, so that it is the limit of a whole reply that ends it
    bool challenges = false;  ///< a request is sent a second time
};

namespace Misbehaviours
{
std::vector<Misbehaviour> All();
}
