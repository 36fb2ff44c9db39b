#pragma once

#include <cstdint>

/// Puts the calling thread's GetLastError value back when it dies, so that logging a failure does not destroy what
/// the caller is about to look at. Does nothing where there is no such value.
class CLastErrorKeeper
{
public:
    CLastErrorKeeper() noexcept;
    ~CLastErrorKeeper();
    CLastErrorKeeper(const CLastErrorKeeper&) = delete;
    CLastErrorKeeper& operator=(const CLastErrorKeeper&) = delete;

private:
    [[maybe_unused]] const std::uint32_t m_lastError;
};
