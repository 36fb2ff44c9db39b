#pragma once

#include "Tests/FailedCalls/FaultPlan.h"
#include "Tests/Support/ComponentLibrary.h"
#include "Win32/ComPointer.h"

#include <Quorvane.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// One call of a session, and what came of it. `values` is what the call has handed out, as far as it is the same in
/// every session.
struct StepResult
{
    std::string name;
    HRESULT hr = S_OK;
    std::string values;

    bool operator==(const StepResult&) const = default;
};

/// Takes down what a session does. Used by one thread.
class CRecorder
{
public:
    /// Makes the call, which writes what it has handed out into the stream.
    template <class Call>
    HRESULT Step(const char* name, Call call)
    {
        FaultPlan::SetStep(name);
        std::ostringstream values;
        const HRESULT hr = call(values);
        steps.push_back({name, hr, values.str()});
        return hr;
    }

    std::vector<StepResult> steps;
};

/// What the sessions need of their surroundings.
struct Surroundings
{
    const CComponentLibrary* library = nullptr;
    WORD ipelaPort = 0;
    WORD axisPort = 0;
    WORD relativePort = 0; ///< another Axis camera, whose session description has relative URLs
};

/// A session with the component from creation to release, the same each time: all calls of one kind of client.
struct Script
{
    const char* name;
    void (*run)(CRecorder& recorder, const Surroundings& surroundings);
    bool isLogging;                     ///< without a log, memory can only be missing where somebody needs it
    bool hasTunnel = false;             ///< whose requests take long to end
    const char* onlyFunction = nullptr; ///< the one that it is there for
};

const std::vector<Script>& Scripts();

void RunIpelaScript(CRecorder& recorder, const Surroundings& surroundings);
void RunAxisScript(CRecorder& recorder, const Surroundings& surroundings);
void RunStreamingScript(CRecorder& recorder, const Surroundings& surroundings);
void RunRelativeScript(CRecorder& recorder, const Surroundings& surroundings);
void RunRegistrationScript(CRecorder& recorder, const Surroundings& surroundings);

/// What the scripts share. Texts and arrays that come from the component are freed, and counted as given back.
namespace ScriptParts
{
using CommandPointer = CComPointer<IAVCommand5>;

/// By class identifier, as a client that has looked it up.
CommandPointer Create(CRecorder& recorder);
/// The address, the credentials that both cameras ask for, and the first request.
void Open(CRecorder& recorder, IAVCommand5& command, WORD port);
/// Again, to the same camera, with all that belongs to the first connection given up.
void Reopen(CRecorder& recorder, IAVCommand5& command, WORD port);
void Connect(CRecorder& recorder, IAVCommand5& command);
void ReadSettings(CRecorder& recorder, IAVCommand5& command);
void ReadSizes(CRecorder& recorder, IAVCommand5& command);
void Move(CRecorder& recorder, IAVCommand5& command);
/// Closes the connection and releases the object.
void Leave(CRecorder& recorder, CommandPointer& command);

std::string TakeText(BSTR text);
void FreeBlock(void* block);
} // namespace ScriptParts
