#include "Core/Advice.h"

namespace Advice
{
namespace
{
const std::string kSeeLog = "set ORBELL_LOG_FILE to a file name and run again: the component's log there says why";

std::string ForCreate(HResult hr)
{
    switch (hr)
    {
    case HResults::kClassNotRegistered:
    case HResults::kClassString:
        return "the component is not registered on this machine: run 'avcommand register' as administrator, or use "
               "--unregistered";
    case HResults::kFileNotFound:
    case HResults::kPathNotFound:
    case HResults::kModuleNotFound:
    case HResults::kDllNotFound:
    // Wine's answer when the registered file has gone; elsewhere a file that this user may not read.
    case HResults::kAccessDenied:
        return "the component's DLL is missing or cannot be read: keep Quorvane.dll beside avcommand.exe or name it "
               "with --dll, and "
               "register again if it has moved";
    case HResults::kBadImageFormat:
        return "the file is not a 32-bit Windows DLL";
    case HResults::kEntryPointNotFound:
    case HResults::kClassNotAvailable:
        return "that DLL is not the AVCommand component";
    case HResults::kNoInterface:
        return "the component is too old: it lacks IAVCommand5";
    default:
        return "the component could not be loaded";
    }
}

bool IsLoadFailure(HResult hr)
{
    switch (hr)
    {
    case HResults::kFileNotFound:
    case HResults::kPathNotFound:
    case HResults::kModuleNotFound:
    case HResults::kBadImageFormat:
    case HResults::kEntryPointNotFound:
        return true;
    default:
        return false;
    }
}

std::string ForRegistration(HResult hr, Activity activity)
{
    if (IsLoadFailure(hr))
        return ForCreate(hr);
    if (hr == HResults::kAccessDenied)
        return "the registry could not be written: run this as administrator";
    if (activity == Activity::kUnregister)
        return "most likely it was not registered; 'avcommand register' and then 'unregister' removes what is left of "
               "a registration";
    return "the registration is not complete: run this as administrator";
}

/// E_FAIL says no more than "no". After a failed probe it hides the difference between a camera that is not there
/// and one that refuses the password, so both are named.
std::string ForFail(Activity activity, const std::string& camera)
{
    if (activity == Activity::kConnect)
        return "either nothing answers at " + camera +
               ", or it is no known camera, or it refuses the user name and password; check --host, --port, --user and "
               "the password";
    return "the camera at " + camera + " refused the request or did not answer it; " + kSeeLog;
}

std::string ForInvalidArgument(Activity activity, const std::string& camera)
{
    switch (activity)
    {
    case Activity::kSetSize:
        return "the camera does not offer that size, rate and codec; 'avcommand sizes --rates' lists what it offers";
    case Activity::kSetVolume:
        return "the volume must lie between -10 and 10";
    case Activity::kArea:
        return "width and height must not be negative";
    case Activity::kOpen:
        return "the component does not accept " + camera + " as an address";
    case Activity::kStream:
        return "a unicast stream needs a UDP port from 1 to 65535";
    default:
        return "the component refused a value";
    }
}
} // namespace

std::string For(HResult hr, Activity activity, const std::string& camera)
{
    if (activity == Activity::kCreate)
        return ForCreate(hr);
    if (activity == Activity::kRegister || activity == Activity::kUnregister)
        return ForRegistration(hr, activity);
    if (const int status = HResults::HttpStatus(hr))
        return "the camera answered with HTTP status " + std::to_string(status);
    switch (hr)
    {
    case HResults::kFail:
        return ForFail(activity, camera);
    case HResults::kInvalidArgument:
        return ForInvalidArgument(activity, camera);
    case HResults::kNotImplemented:
        return "this family of cameras cannot do that";
    case HResults::kAccessDenied:
        return "the camera refuses the user name and password, or that user may not do this";
    case HResults::kTimeOut:
        return "the camera did not answer in time; check that it is on and reachable";
    case HResults::kUnexpected:
        if (activity == Activity::kStream)
            return "a camera that streams over RTSP wants its streams set up first, as 'avcommand stream' does; "
                   "otherwise " +
                   kSeeLog;
        return "the camera's answer or the order of the calls makes no sense to the component; " + kSeeLog;
    case HResults::kOutOfMemory:
        return "memory is short";
    default:
        return kSeeLog;
    }
}
} // namespace Advice
