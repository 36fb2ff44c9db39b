#include "Logging/LastErrorKeeper.h"

#ifdef _WIN32
#include <windows.h>

CLastErrorKeeper::CLastErrorKeeper() noexcept : m_lastError(::GetLastError()) {}

CLastErrorKeeper::~CLastErrorKeeper()
{
    ::SetLastError(m_lastError);
}
#else
CLastErrorKeeper::CLastErrorKeeper() noexcept : m_lastError(0) {}

CLastErrorKeeper::~CLastErrorKeeper() = default;
#endif
