#pragma once

#include "Tests/Faults/Matrix.h"

/// What a call may return while the camera misbehaves: what docs/reliability.md names, and success only where the
/// request that was spoiled can have gone well.
namespace Judge
{
inline constexpr HRESULT kTimedOut = static_cast<HRESULT>(0x800C05B4);

inline bool MayReturn(const Cell& cell, HRESULT hr) noexcept
{
    const Method& method = *cell.method;
    if (method.tells == Tells::Nothing)
        return hr == method.well;
    if (method.tells == Tells::Reply && (cell.row->fails & method.spoiled) != 0)
        return hr == E_FAIL || hr == E_UNEXPECTED || hr == kTimedOut;
    return hr == method.well || hr == E_FAIL || hr == E_UNEXPECTED || hr == kTimedOut;
}
} // namespace Judge
