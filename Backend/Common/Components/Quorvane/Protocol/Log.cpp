#include "Protocol/Log.h"

COBLoggerComponent& QuorvaneLogger()
{
    return COBLogManager::GetLogger(L"VIDEO_QUORVANE");
}
