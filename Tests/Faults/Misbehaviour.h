#pragma once

#include <string>
#include <vector>

/// The requests that a misbehaviour can spoil.
enum Spoiled : unsigned
{
    kCgi = 1,
    kTunnelGet = 2,
    kTunnelPost = 4,
    kRtsp = 8,
    kDescribe = 16,    ///< RTSP with a reply that has a body
    kTunnelStream = 32 ///< what comes behind the head of the tunnel's GET
};

/// One way in which a camera, or the network before it, misbehaves. Data; the simulator does it.
struct Misbehaviour
{
    std::string name;
    const char* kind; ///< rows of one kind stand together
    unsigned spoils;
    std::vector<std::string> faults; ///< of the simulator, without path; none: the camera's port is closed
    unsigned fails = 0;              ///< of what it spoils: such a request, and the call with it, cannot go well
    const char* header = nullptr;    ///< "NAME: VALUE" of what replaces the camera's answer
    bool keepsComing = false; ///< the reply grows all the time, so that it is the limit of a whole reply that ends it
    bool challenges = false;  ///< a request is sent a second time
    bool inTurn = false;      ///< the second fault hits from the second request on, instead of all of them the same
};

namespace Misbehaviours
{
std::vector<Misbehaviour> All();
}
