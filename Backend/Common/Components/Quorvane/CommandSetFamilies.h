#pragma once

#include "CgiCommandBase.h"
#include "HttpRequest.h"

#include <memory>
#include <span>

/// One camera family that the component knows.
struct CommandSetFamily
{
    const wchar_t* name; ///< as it appears in the log
    std::unique_ptr<CCgiCommandBase> (*create)(CAsyncHttpRequest& httpRequest);
};

/// The families in the order in which a camera is probed. A new family is one more row.
std::span<const CommandSetFamily> CommandSetFamilies() noexcept;
