#pragma once

#include "Tests/Support/TaskMemorySpy.h"

/// While it lives, every allocation of task memory in this process fails (and so does that of every BSTR that is not
/// served from the system's cache of small ones). Task memory from before can be freed.
class CFailingTaskMemory final : public CTaskMemorySpy
{
public:
    CFailingTaskMemory() : CTaskMemorySpy(0) {}
};
